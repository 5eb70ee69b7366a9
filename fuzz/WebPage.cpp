// Addresses of browse pages, which a page of a stranger can make a browser ask for. The menu is the one that is
// shipped.
#include <memory>
#include <set>

#include <libxml/HTMLparser.h>

#include "ShippedMenu.h"
#include "Target.h"
#include "web/BrowsePage.h"

using namespace MediaServer;

namespace {

std::string Render(const std::string& url) {
    std::string page;
    Require(RenderBrowsePage(ShippedMenu(), {}, url,
                             [&](std::string_view piece) {
                                 page.append(piece);
                                 return true;
                             }),
            "a page that is taken is rendered");
    return page;
}

void AddNames(const xmlNode* node, std::set<std::string>& names) {
    for (; node != nullptr; node = node->next) {
        const std::string element(reinterpret_cast<const char*>(node->name));
        if (node->type == XML_ELEMENT_NODE) {
            names.insert(element);
            for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next)
                names.insert(element + "@" + reinterpret_cast<const char*>(attribute->name));
        }
        AddNames(node->children, names);
    }
}

/// The kinds of elements and attributes of a page, as a browser would see them.
std::set<std::string> Names(const std::string& page) {
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        htmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr, "UTF-8",
                       HTML_PARSE_NONET | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_RECOVER),
        &xmlFreeDoc);
    std::set<std::string> names;
    if (document) AddNames(xmlDocGetRootElement(document.get()), names);
    return names;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::set<std::string> known = [] {
        std::set<std::string> names;
        for (const char* url : {"/cds/", "/cds/music", "/cds/music-genre", "/cds/nothing"})
            names.merge(Names(Render(url)));
        return names;
    }();
    const std::string page = Render("/cds/" + std::string(AsText(data, size)));
    for (const std::string& name : Names(page))
        Require(known.count(name) == 1, "no address brings an element of its own");
    return 0;
}
