#include "site/publish/ItemLine.h"

#include <algorithm>
#include <array>
#include <utility>

#include "delivery/instructions/ItemLine.h"

namespace lumsite {

using delivery::kAttributes;

std::string ToText(const ItemLine &item) {
    const std::array<std::string, kAttributes> attributes = {item.name,
                                                             item.url,
                                                             item.target,
                                                             item.version,
                                                             std::to_string(item.fileSize),
                                                             std::to_string(item.compressedSize),
                                                             item.action,
                                                             item.updateControl,
                                                             item.failureControl,
                                                             std::to_string(item.osVersion),
                                                             item.hashValue,
                                                             item.hashMethod,
                                                             item.signature};
    std::string line = attributes[0];
    for (std::size_t i = 1; i < attributes.size(); ++i) {
        line += ';' + attributes[i];
    }
    return line;
}

std::vector<std::string> PackageUrls(const delivery::InstructionFile &instructions) {
    std::vector<std::string> urls;
    for (const delivery::InstructionSection &section : instructions.sections) {
        for (const delivery::InstructionEntry &entry : section.entries) {
            std::vector<std::string> attributes = delivery::SplitItemLine(entry.value);
            if (delivery::FileNumber(entry.key) != 0 && attributes.size() > delivery::kUrl) {
                urls.push_back(std::move(attributes[delivery::kUrl]));
            }
        }
    }
    return urls;
}

std::string InstalledLibraryName(std::string_view name, std::string_view version) {
    constexpr std::string_view extension = ".dylib";
    if (!name.ends_with(extension)) {
        return "";
    }
    std::string dotted(version);
    std::replace(dotted.begin(), dotted.end(), ',', '.');
    return std::string(name.substr(0, name.size() - extension.size())) + "-" + dotted + std::string(extension);
}

} // namespace lumsite
