#include "site/serve/HttpFields.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/Text.h"

namespace lumsite {

namespace {

using base::Trim;

std::optional<std::uint64_t> Number(std::string_view text) {
    return base::ReadNumber<std::uint64_t>(text);
}

} // namespace

RangeKind ParseRange(std::string_view header, std::uint64_t size, ByteRange &range) {
    constexpr std::string_view unit = "bytes=";
    if (!header.starts_with(unit) || header.find(',') != std::string_view::npos) {
        return RangeKind::Whole;
    }
    const std::string_view span = Trim(header.substr(unit.size()));
    const std::size_t dash = span.find('-');
    if (dash == std::string_view::npos) {
        return RangeKind::Whole;
    }
    const std::optional<std::uint64_t> first = Number(span.substr(0, dash));
    const std::optional<std::uint64_t> last = Number(span.substr(dash + 1));
    if (dash == 0) {
        if (!last) {
            return RangeKind::Whole;
        }
        if (*last == 0 || size == 0) {
            return RangeKind::Unsatisfiable;
        }
        range.length = std::min(*last, size);
        range.first = size - range.length;
        return RangeKind::Part;
    }
    if (!first || (!last && dash + 1 != span.size()) || (last && *last < *first)) {
        return RangeKind::Whole;
    }
    if (*first >= size) {
        return RangeKind::Unsatisfiable;
    }
    range.first = *first;
    range.length = (last ? std::min(*last, size - 1) : size - 1) - *first + 1;
    return RangeKind::Part;
}

bool HoldsTag(std::string_view list, std::string_view tag, bool weakCounts) {
    if (Trim(list) == "*") {
        return true;
    }
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        std::string_view one = Trim(list.substr(0, comma));
        if (weakCounts && one.starts_with("W/")) {
            one.remove_prefix(2);
        }
        if (one == tag) {
            return true;
        }
        list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
    }
    return false;
}

std::string HttpDate(std::time_t time) {
    static constexpr const char *kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr const char *kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm parts{};
    gmtime_r(&time, &parts);
    char rest[32]; // without the names, which strftime takes from the locale
    std::strftime(rest, sizeof rest, "%Y %H:%M:%S GMT", &parts);
    const std::string day = std::to_string(parts.tm_mday);
    return std::string(kDays[parts.tm_wday]) + ", " + (day.size() < 2 ? "0" : "") + day + " " + kMonths[parts.tm_mon] +
           " " + rest;
}

std::string_view ContentType(std::string_view name) {
    static constexpr std::pair<std::string_view, std::string_view> kTypes[] = {
        {".html", "text/html; charset=utf-8"},
        {".ini", "text/plain; charset=utf-8"},
        {".txt", "text/plain; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".json", "application/json"},
        {".png", "image/png"},
        {".svg", "image/svg+xml"},
        {".ico", "image/x-icon"},
        {".gz", "application/gzip"},
        {".zst", "application/zstd"},
        {".xz", "application/x-xz"},
        {".zip", "application/zip"}};
    for (const auto &[ending, type] : kTypes) {
        if (name.ends_with(ending)) {
            return type;
        }
    }
    return "application/octet-stream";
}

} // namespace lumsite
