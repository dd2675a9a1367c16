// A site for tests: a certificate authority, a vendor certificate and its key, and what a site publishes with them.
#pragma once

#include <string>
#include <string_view>

#include "tests/support/ChildProcess.h"

struct SiteIdentity {
    std::string keyFile;     // PEM, RSA
    std::string certificate; // base64 of the DER certificate, no line breaks
    // The value of the page parameter: the authority's certificate, "|", the site's.
    std::string certification;
};

class TestSite {
public:
    // A self-made authority and a certificate of this common name below it.
    static SiteIdentity MakeIdentity(const TempDir &place, const std::string &commonName,
                                     const std::string &label = "site");

    // An item line (13 attributes) for the package file, hashed and signed.
    struct Item {
        std::string name;
        std::string url = ""; // the name when empty
        std::string target = "";
        std::string version = "1,0,0,0";
        std::string update = "version";
        std::string failure = "";
    };
    static std::string ItemLine(const SiteIdentity &identity, const Item &item, const std::string &packageFile);

    static std::string Sign(const SiteIdentity &identity, std::string_view text); // base64
};
