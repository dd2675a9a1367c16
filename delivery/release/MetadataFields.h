// Reads the fields of metadata, and remembers the first thing that is wrong with them. Every function answers something
// harmless when a field is missing or of another type, so that a reader need look for faults only once, at its end.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace delivery {

class MetadataFields {
public:
    // Empty when nothing is wrong.
    const std::string &fault() const {
        return m_fault;
    }
    // Notes a fault; the first one stays.
    void Complain(const std::string &fault);

    static const Json::Value *Find(const Json::Value &object, const std::string &name);

    const Json::Value &Object(const Json::Value &object, const std::string &name);
    const Json::Value &Array(const Json::Value &object, const std::string &name);
    std::string Text(const Json::Value &object, const std::string &name);
    // From `least` to 2^63 - 1.
    std::uint64_t Number(const Json::Value &object, const std::string &name, std::uint64_t least);
    // `otherwise` when the field is missing.
    bool Flag(const Json::Value &object, const std::string &name, bool otherwise);
    std::vector<std::string> Texts(const Json::Value &object, const std::string &name);

private:
    const Json::Value &Typed(const Json::Value &object, const std::string &name, Json::ValueType type);

    std::string m_fault;
};

} // namespace delivery
