#include "delivery/release/MetadataFields.h"

#include <limits>

#include "base/Text.h"

namespace delivery {

namespace {

std::string Field(const std::string &name) {
    return base::Quoted(name);
}

} // namespace

void MetadataFields::Complain(const std::string &fault) {
    if (m_fault.empty()) {
        m_fault = fault;
    }
}

const Json::Value *MetadataFields::Find(const Json::Value &object, const std::string &name) {
    return object.isObject() ? object.find(name.data(), name.data() + name.size()) : nullptr;
}

const Json::Value &MetadataFields::Typed(const Json::Value &object, const std::string &name, Json::ValueType type) {
    static const Json::Value kEmptyObject(Json::objectValue);
    static const Json::Value kEmptyArray(Json::arrayValue);
    const Json::Value *value = Find(object, name);
    if (value && value->type() == type) {
        return *value;
    }
    const bool isArray = type == Json::arrayValue;
    Complain(Field(name) + (value ? (isArray ? " is not an array" : " is not an object") : " is missing"));
    return isArray ? kEmptyArray : kEmptyObject;
}

const Json::Value &MetadataFields::Object(const Json::Value &object, const std::string &name) {
    return Typed(object, name, Json::objectValue);
}

const Json::Value &MetadataFields::Array(const Json::Value &object, const std::string &name) {
    return Typed(object, name, Json::arrayValue);
}

std::string MetadataFields::Text(const Json::Value &object, const std::string &name) {
    const Json::Value *value = Find(object, name);
    if (value && value->isString()) {
        return value->asString();
    }
    Complain(Field(name) + (value ? " is not a text" : " is missing"));
    return {};
}

std::uint64_t MetadataFields::Number(const Json::Value &object, const std::string &name, std::uint64_t least) {
    const Json::Value *value = Find(object, name);
    const bool isInteger = value && (value->type() == Json::intValue || value->type() == Json::uintValue);
    if (isInteger && value->isInt64() && value->asInt64() >= 0 && value->asUInt64() >= least) {
        return value->asUInt64();
    }
    Complain(Field(name) + (value ? " is not an integer from " + std::to_string(least) + " on" : " is missing"));
    return least;
}

bool MetadataFields::Flag(const Json::Value &object, const std::string &name, bool otherwise) {
    const Json::Value *value = Find(object, name);
    if (!value) {
        return otherwise;
    }
    if (!value->isBool()) {
        Complain(Field(name) + " is neither true nor false");
        return otherwise;
    }
    return value->asBool();
}

std::vector<std::string> MetadataFields::Texts(const Json::Value &object, const std::string &name) {
    std::vector<std::string> texts;
    for (const Json::Value &value : Array(object, name)) {
        if (value.isString()) {
            texts.push_back(value.asString());
        } else {
            Complain(Field(name) + " holds something other than texts");
        }
    }
    return texts;
}

} // namespace delivery
