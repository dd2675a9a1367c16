// The products: which application belongs to which main component.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct MainApplication {
    std::string_view componentKey;   // what occurs in the path of the component's bundle
    std::string_view executablePath; // from the folder that holds the bundle
    std::string_view processName;
};

// The first product of the table whose key occurs in `componentPath`. `siteConfiguration` is the page's value for
// "ParmSiteConfigExt_Value", which chooses between the two applications of the first product; it may be null.
std::optional<MainApplication> FindMainApplication(std::string_view componentPath, const char *siteConfiguration);
