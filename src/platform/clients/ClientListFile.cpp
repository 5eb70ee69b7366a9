#include "platform/clients/ClientListFile.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr int kMaxJsonDepth = 16;

/// Reads the document. @return the reason why it is no client list, empty when it is one.
std::string Parse(const std::string& text, Json::Value& root) {
    Json::CharReaderBuilder builder;
    builder["strictRoot"] = true;
    builder["failIfExtra"] = true;
    builder["stackLimit"] = kMaxJsonDepth;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
            std::replace(errors.begin(), errors.end(), '\n', ' ');
            return errors;
        }
    } catch (const std::exception& error) {  // the reader throws when the nesting is too deep
        return error.what();
    }
    if (!root.isObject()) return "the document is not an object";
    const Json::Value& list = root[kListMember];
    const bool is_list = list.isNull() || list.isObject() || (list.isInt() && list.asInt() == 0);
    return is_list ? std::string() : "\"ClientList\" is neither 0 nor an object";
}

/// Hardware addresses compare as text; a hand may have written them in capitals.
void LowerAddresses(Json::Value& root) {
    if (!root[kListMember].isObject()) return;
    Json::Value list(Json::objectValue);
    for (const std::string& mac : root[kListMember].getMemberNames()) {
        list[StringToLower(mac)] = root[kListMember][mac];
    }
    root[kListMember] = std::move(list);
}

}  // namespace

std::string ReadClientList(const std::string& path, Json::Value& root) {
    const auto text = ReadWholeFile(path, kMaxClientListBytes);
    if (!text) return "the file is unreadable or larger than 8 MiB";
    std::string problem = Parse(*text, root);
    if (problem.empty()) LowerAddresses(root);
    return problem;
}

std::string SerializeClientList(const Json::Value& root) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "\t";
    return Json::writeString(builder, root) + "\n";
}

std::string MemberText(const Json::Value& object, const std::string& member) {
    if (!object.isObject()) return {};
    const Json::Value& value = object[member];
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

}  // namespace MediaServer
