#include "tree/cdsmenu.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "platform/library/MediaFolders.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"
#include "platform/xml/XmlReader.h"
#include "tree/CDSCategoryFolder.h"
#include "tree/CDSIndexStorageFolder.h"
#include "tree/CDSPlayListEntry.h"
#include "tree/CDSSRadioContainer.h"
#include "tree/CDSSmartContainer.h"
#include "tree/CDSSmartPlayList.h"
#include "tree/CDSStorageFolder.h"
#include "tree/MenuDirectory.h"

namespace MediaServer {

namespace {

constexpr std::string_view kVideoLibraryTemplate = "/var/packages/MediaServer/target/etc/menu_rh_template.xml";

// The last five name catalogues of the video library, which have no media table of their own.
constexpr std::pair<std::string_view, MediaKind> kMedia[] = {
    {"music", MediaKind::Music},      {"video", MediaKind::Video},      {"photo", MediaKind::Photo},
    {"movie", MediaKind::Music},      {"collection", MediaKind::Music}, {"tvshow", MediaKind::Music},
    {"home_video", MediaKind::Music}, {"tv_record", MediaKind::Music},
};

std::optional<MediaKind> FindMedia(std::string_view name) {
    for (const auto& [media, kind] : kMedia) {
        if (media == name) return kind;
    }
    return std::nullopt;
}

bool IsElement(IXML_Node* node, std::string_view name) {
    return ixmlNode_getNodeType(node) == eELEMENT_NODE && name == ixmlNode_getNodeName(node);
}

/// Texts of the child elements of one name; none of a null list.
std::vector<std::string> ChildTexts(IXML_Node* list, std::string_view name) {
    std::vector<std::string> texts;
    if (list == nullptr) return texts;
    for (IXML_Node* child = ixmlNode_getFirstChild(list); child != nullptr; child = ixmlNode_getNextSibling(child)) {
        if (IsElement(child, name)) texts.push_back(NodeText(child));
    }
    return texts;
}

/// The largest template that anybody would write by hand.
constexpr XmlBounds kTemplateBounds{.elements = 100'000, .bytes = kMaxConfigFileBytes};

/// The library's parser reads past the end of some broken documents, so what is not well formed does not reach it.
int LoadTemplate(const std::string& path, IXML_Document** document) {
    const std::optional<std::string> text = ReadWholeFile(path, kTemplateBounds.bytes);
    if (!text) return IXML_NO_SUCH_FILE;
    if (!ReadXml(*text, kTemplateBounds, [](const XmlEvent&) { return true; })) return IXML_SYNTAX_ERR;
    return ixmlLoadDocumentEx(path.c_str(), document);
}

IxmlDocument ParseTemplate(const std::string& path) {
    IXML_Document* document = nullptr;
    const int error = LoadTemplate(path, &document);
    if (error != IXML_SUCCESS) {
        SysLogError("%s:%d Failed to load/parse %s, %d", DMS_SOURCE_FILE, __LINE__, path.c_str(), error);
    }
    return IxmlDocument(document);
}

// Null when the document is null or lacks the list.
IXML_Node* FindTopList(IXML_Document* document) {
    if (document == nullptr) return nullptr;
    IXML_Node* menu = FindChildElement(reinterpret_cast<IXML_Node*>(document), "menu");
    return menu == nullptr ? nullptr : FindChildElement(menu, "entrylist");
}

}  // namespace

struct MenuLoader::Entry {
    IXML_Node* element;
    std::string title;  // translated
    std::string media_text;
    MediaKind media;
    std::string id;
    std::string parent_id;
};

struct MenuLoader::NodeType {
    std::string_view name;
    CDSMenuEntry* (MenuLoader::*create)(const Entry&);
    bool is_radio = false;
};

// Null for an unknown type.
const MenuLoader::NodeType* MenuLoader::FindNodeType(std::string_view name) {
    static constexpr NodeType kNodeTypes[] = {
        {"storagefolder", &MenuLoader::CreateStorageFolder},
        {"index_storagefolder", &MenuLoader::CreateIndexStorageFolder},
        {"categoryfolder", &MenuLoader::CreateCategoryFolder},
        {"playlist", &MenuLoader::CreatePlayListEntry},
        {"radio", &MenuLoader::CreateRadioContainer, true},
        {"smartplaylist", &MenuLoader::CreateSmartPlayList},
        {"smartct", &MenuLoader::CreateSmartContainer},
        {"reelhouse_categoryfolder", &MenuLoader::CreateLibraryCategory},
        {"reelhouse_storagefolder", &MenuLoader::CreateLibraryStorage},
        {"reelhouse_collection", &MenuLoader::CreateNothing},
    };
    const auto* row = std::find_if(std::begin(kNodeTypes), std::end(kNodeTypes),
                                   [&](const NodeType& type) { return type.name == name; });
    return row == std::end(kNodeTypes) ? nullptr : row;
}

bool MenuLoader::LoadMenu(const std::string& menu_file, bool with_video_library) {
    const IxmlDocument menu = ParseTemplate(menu_file);
    if (!menu) return false;
    IXML_Node* list = FindTopList(menu.get());
    if (list != nullptr) ParseEntryList(list, context_.main_root);
    if (with_video_library) {
        const IxmlDocument video_library = ParseTemplate(SystemPath(kVideoLibraryTemplate));
        if (IXML_Node* more = FindTopList(video_library.get())) ParseEntryList(more, context_.main_root);
    }
    return list != nullptr;
}

void MenuLoader::ParseEntryList(IXML_Node* list, CDSContainer& parent) {
    for (IXML_Node* node = ixmlNode_getFirstChild(list); node != nullptr; node = ixmlNode_getNextSibling(node)) {
        if (IsElement(node, "entry")) ParseEntry(node, parent);
    }
}

void MenuLoader::ParseEntry(IXML_Node* element, CDSContainer& parent) {
    bool has_id = false, has_type = false, has_media = false;
    std::string id = NodeAttribute(element, "id", &has_id);
    if (!has_id) id = context_.nodes.NextEntryId();
    const std::string type = NodeAttribute(element, "type", &has_type);
    if (!has_type) return MakeFolder(element, id, parent);
    const std::string media = NodeAttribute(element, "media", &has_media);
    if (!has_media) return;
    CreateNode(element, type, media, id, parent);
    if (media == "music") CreateNode(element, type, media, id, context_.music_root);
}

void MenuLoader::MakeFolder(IXML_Node* element, const std::string& id, CDSContainer& parent) {
    IXML_Node* title = FindChildElement(element, "title");
    if (title == nullptr) return;
    auto& folder = context_.nodes.Make<CDSMenuEntry>(context_.strings.Translate(NodeText(title)), id, parent.id,
                                                     ObjectType::kContainer);
    parent.AddChild(&folder);
    IXML_Node* list = FindChildElement(element, "entrylist");
    if (list == nullptr) return;
    DMSPrintf(2, "entryList %s", ixmlNode_getNodeName(list));
    ParseEntryList(list, folder);
}

void MenuLoader::CreateNode(IXML_Node* element, const std::string& type, const std::string& media,
                            const std::string& id, CDSContainer& parent) {
    IXML_Node* title_element = FindChildElement(element, "title");
    if (title_element == nullptr) return;
    const std::string title = context_.strings.Translate(NodeText(title_element));
    DMSPrintf(2, "Creating node %s, type=%s, media=%s", title.c_str(), type.c_str(), media.c_str());
    const std::optional<MediaKind> kind = FindMedia(media);
    if (!kind) {
        SysLogError("%s:%d entry %s, unknown media", DMS_SOURCE_FILE, __LINE__, title.c_str());
        return;
    }
    const NodeType* row = FindNodeType(type);
    if (row == nullptr || (row->is_radio && !context_.with_radio)) return;
    if (CDSMenuEntry* node = (this->*row->create)({element, title, media, *kind, id, parent.id})) {
        parent.AddChild(node);
    }
}

CDSMenuEntry* MenuLoader::CreateStorageFolder(const Entry& entry) {
    const std::string directory = DirectoryOf(entry);
    if (directory.empty()) return nullptr;
    return &context_.nodes.Make<CDSStorageFolder>(entry.media, directory, entry.parent_id, entry.id, entry.title,
                                                  ObjectType::kStorageFolder);
}

CDSMenuEntry* MenuLoader::CreateIndexStorageFolder(const Entry& entry) {
    auto& folder = context_.nodes.Make<CDSIndexStorageFolder>(entry.media, entry.parent_id, entry.id, entry.title,
                                                              ObjectType::kStorageFolder);
    folder.SetIndexLocations(GetIndexLoacationPath(entry.media));
    context_.nodes.RegisterIndexFolder(folder);
    return &folder;
}

CDSMenuEntry* MenuLoader::CreateCategoryFolder(const Entry& entry) {
    const std::string directory = DirectoryOf(entry);
    if (directory.empty()) return nullptr;
    auto& folder = context_.nodes.Make<CDSCategoryFolder>(entry.media, directory, entry.parent_id, entry.id,
                                                          entry.title, ObjectType::kContainer, context_.strings);
    AddCategories(entry, folder);
    return &folder;
}

CDSMenuEntry* MenuLoader::CreatePlayListEntry(const Entry& entry) {
    return &context_.nodes.Make<CDSPlayListEntry>(entry.parent_id, entry.id, entry.title, ObjectType::kContainer,
                                                  false);
}

CDSMenuEntry* MenuLoader::CreateSmartPlayList(const Entry& entry) {
    return &context_.nodes.Make<CDSSmartPlayList>(entry.parent_id, entry.id, entry.title, ObjectType::kContainer);
}

CDSMenuEntry* MenuLoader::CreateRadioContainer(const Entry& entry) {
    return &context_.nodes.Make<CDSSRadioContainer>(entry.parent_id, context_.nodes.NextEntryId(), entry.title,
                                                    ObjectType::kContainer);
}

CDSMenuEntry* MenuLoader::CreateSmartContainer(const Entry& entry) {
    IXML_Node* conjunction = FindChildElement(entry.element, "conjunction");
    if (conjunction == nullptr) {
        SysLogError("%s:%d entry %s, no conjunction property", DMS_SOURCE_FILE, __LINE__, entry.title.c_str());
        return nullptr;
    }
    IXML_Node* rules = FindChildElement(entry.element, "rulelist");
    if (rules == nullptr) {
        DMSPrintf(0, "entry %s, no rulelist el", entry.title.c_str());
        return nullptr;
    }
    auto& container =
        context_.nodes.Make<CDSSmartContainer>(entry.media, NodeText(conjunction) == "OR", entry.parent_id, entry.id,
                                               entry.title, ObjectType::kContainer, context_.strings);
    for (const std::string& rule : ChildTexts(rules, "rule")) container.AddRule(rule);
    AddCategories(entry, container);
    return &container;
}

CDSMenuEntry* MenuLoader::CreateLibraryCategory(const Entry& entry) {
    // The catalogue knows where its files lie: the directory only has to be there.
    if (FindChildElement(entry.element, "directory") == nullptr) {
        DMSPrintf(0, "entry %s, no directory property", entry.title.c_str());
        return nullptr;
    }
    return &context_.video_library.MakeCategoryFolder(
        context_.nodes, {entry.media_text, entry.parent_id, entry.id, entry.title, ObjectType::kContainer,
                         ChildTexts(FindChildElement(entry.element, "categories"), "category"),
                         ChildTexts(FindChildElement(entry.element, "rulelist"), "rule")});
}

CDSMenuEntry* MenuLoader::CreateLibraryStorage(const Entry& entry) {
    return &context_.video_library.MakeStorageFolder(
        context_.nodes, {entry.media_text, entry.parent_id, entry.id, entry.title, ObjectType::kStorageFolder});
}

// Empty after the reason was logged.
std::string MenuLoader::DirectoryOf(const Entry& entry) {
    IXML_Node* element = FindChildElement(entry.element, "directory");
    if (element == nullptr) {
        DMSPrintf(0, "entry %s, no directory property", entry.title.c_str());
        return {};
    }
    const std::string text = NodeText(element);
    std::string directory = ResolveMenuDirectory(entry.media, text);
    if (directory.empty()) DMSPrintf(0, "entry %s, invalid directory", text.c_str());
    return directory;
}

void MenuLoader::AddCategories(const Entry& entry, Categorizable& node) {
    IXML_Node* list = FindChildElement(entry.element, "categories");
    if (list == nullptr) return;
    for (IXML_Node* child = ixmlNode_getFirstChild(list); child != nullptr; child = ixmlNode_getNextSibling(child)) {
        if (!IsElement(child, "category")) continue;
        const std::string name = NodeText(child);
        if (FindCategory(entry.media, name) == nullptr) {
            DMSPrintf(1, "Unknown category %s on media type %s", name.c_str(), entry.media_text.c_str());
            continue;
        }
        // The initial letters come first, the values behind each letter.
        const std::int32_t index = ToInt(NodeAttribute(child, "index"));
        if (index != 0) node.AddCategory(name, index);
        node.AddCategory(name, 0);
    }
}

}  // namespace MediaServer
