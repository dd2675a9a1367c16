#include "delivery/package/EntryPath.h"

namespace delivery {

namespace {

constexpr std::size_t kDeepest = 100;

EntryPath Names(std::string_view path) {
    EntryPath names;
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(name.size() == path.size() ? name.size() : name.size() + 1);
        if (!name.empty() && name != ".") {
            names.push_back(name);
        }
    }
    return names;
}

} // namespace

std::optional<EntryPath> SplitEntryPath(std::string_view path) {
    if (path.empty() || path.front() == '/') {
        return std::nullopt;
    }
    EntryPath names = Names(path);
    for (const std::string_view name : names) {
        if (name == "..") {
            return std::nullopt;
        }
    }
    return names.size() <= kDeepest ? std::optional(std::move(names)) : std::nullopt;
}

std::string JoinEntryPath(const EntryPath &path) {
    std::string joined;
    for (const std::string_view name : path) {
        joined.append(joined.empty() ? "" : "/").append(name);
    }
    return joined;
}

bool LinkStaysInside(std::size_t depth, std::string_view target) {
    if (depth == 0 || target.empty() || target.front() == '/') {
        return false;
    }
    std::size_t up = 0;
    bool named = false;
    for (const std::string_view name : Names(target)) {
        if (name != "..") {
            named = true;
        } else if (named || ++up >= depth) {
            return false;
        }
    }
    return true;
}

} // namespace delivery
