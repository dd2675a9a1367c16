// The products: which application belongs to which main component.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

struct MainApplication {
    std::string_view componentKey;   // what occurs in the path of the component's bundle
    std::string_view executablePath; // from the folder that holds the bundle
    std::string_view processName;
};

// The first product of the table whose key occurs in `componentPath`. `siteConfiguration` is asked for the page's value
// of the site configuration, which may be null, when it has to choose between two applications of a product.
std::optional<MainApplication> FindMainApplication(std::string_view componentPath,
                                                   const std::function<const char *()> &siteConfiguration);
