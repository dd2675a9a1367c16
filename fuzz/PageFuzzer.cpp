// Pages and addresses. Input: the page's own address, then the page.
#include <algorithm>

#include "fuzz/Check.h"
#include "delivery/page/Page.h"
#include "delivery/page/PageObjects.h"
#include "base/Text.h"

namespace {

void CheckAddress(const base::Url &url) {
    const auto isPrintable = [](char c) { return c > ' ' && c <= '~'; };
    const auto isOfHost = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_' || c == ':' ||
               c == '[' || c == ']';
    };
    const std::string_view text = url.text();
    Require(text.starts_with(url.Origin() + "/"), "an address begins with its site, and has a path");
    Require(std::all_of(text.begin(), text.end(), isPrintable), "it is printable ASCII");
    Require(!url.host().empty() && std::all_of(url.host().begin(), url.host().end(), isOfHost), "a host is a name");
    Require(base::Url::Parse(url.text()) == url, "an address is read as what it is written as");
    Require(url.text().starts_with(url.secure() ? "https://" : "http://"), "the scheme is one of two");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view text = InputText(data, size);
    const std::optional<base::Url> address = base::Url::Parse(TakeLine(text));
    if (address) {
        CheckAddress(*address);
    }
    delivery::Page page(address);
    const std::vector<delivery::PageObject> objects = delivery::ReadObjects(text);
    Require(page.ReadObject(text) == !objects.empty(), "the page's object is the first of all");
    if (objects.empty()) {
        return 0;
    }
    Require(page.parameters().size() == objects[0].parameters.size(), "with the same parameters");
    Require(std::ranges::all_of(objects, [](const auto &object) { return object.line > 0; }), "each has a line");
    for (const auto &[name, value] : page.parameters()) {
        Require(base::IsUtf8(name) && base::IsUtf8(value), "parameters are text");
        Require(page.Find(name) != nullptr, "a parameter is found by its name");
        if (const std::optional<base::Url> meant = page.Resolve(value)) {
            CheckAddress(*meant);
        }
    }
    const std::vector<std::string> sites = page.Sites();
    Require(std::is_sorted(sites.begin(), sites.end()) && sites.size() <= 2, "at most two sites, sorted");
    return 0;
}
