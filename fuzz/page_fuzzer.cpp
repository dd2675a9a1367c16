// Pages and addresses. Input: the page's own address, then the page.
#include <algorithm>

#include "fuzz/check.h"
#include "host/Page.h"
#include "host/text.h"

namespace {

void CheckAddress(const lumhost::Url &url) {
    Require(!url.host().empty(), "an address has a host");
    const auto isPrintable = [](char c) { return c > ' ' && c <= '~'; };
    // The host is left as it was written: a name of another script is the resolver's to translate.
    const auto isOfHost = [](char c) { return (c < 0 || c > ' ') && c != 127; };
    const std::string_view text = url.text();
    const std::size_t path = text.find('/', text.find("//") + 2);
    Require(path != std::string_view::npos, "an address has a path");
    Require(std::all_of(text.begin() + path, text.end(), isPrintable), "what follows the host is printable ASCII");
    Require(std::all_of(text.begin(), text.begin() + path, isOfHost), "a host has no control characters");
    Require(std::all_of(url.host().begin(), url.host().end(), isOfHost), "nor when it is asked for by itself");
    Require(lumhost::Url::Parse(url.text()) == url, "an address is read as what it is written as");
    Require(url.text().starts_with(url.secure() ? "https://" : "http://"), "the scheme is one of two");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view text = InputText(data, size);
    const std::optional<lumhost::Url> address = lumhost::Url::Parse(TakeLine(text));
    if (address) {
        CheckAddress(*address);
    }
    lumhost::Page page(address);
    if (!page.ReadObject(text)) {
        return 0;
    }
    for (const auto &[name, value] : page.parameters()) {
        Require(lumhost::IsUtf8(name) && lumhost::IsUtf8(value), "parameters are text");
        Require(page.Find(name) != nullptr, "a parameter is found by its name");
        if (const std::optional<lumhost::Url> meant = page.Resolve(value)) {
            CheckAddress(*meant);
        }
    }
    const std::vector<std::string> sites = page.Sites();
    Require(std::is_sorted(sites.begin(), sites.end()) && sites.size() <= 2, "at most two sites, sorted");
    return 0;
}
