#include "model/VideoRecord.h"

namespace MediaServer {

std::string MemberText(const Json::Value& object, const char* key) {
    const Json::Value& value = Member(object, key);
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

const Json::Value& Member(const Json::Value& object, const char* key) {
    return object.isObject() ? object[key] : Json::Value::nullSingleton();
}

const Json::Value& FilesOf(const Json::Value& record) {
    const Json::Value& files = Member(Member(record, "additional"), "files");
    return files.isArray() ? files : Json::Value::nullSingleton();
}

const Json::Value& FileOf(const Json::Value& record, Json::ArrayIndex index) {
    const Json::Value& files = FilesOf(record);
    return index < files.size() ? files[index] : Json::Value::nullSingleton();
}

}  // namespace MediaServer
