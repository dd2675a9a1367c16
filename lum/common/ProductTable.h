// The products: which application belongs to which main component. The launcher starts by this table; publishers are
// told by it what a page can start.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct MainApplication {
    std::string_view componentKey;   // what occurs in the path of the component's bundle
    std::string_view executablePath; // from the folder that holds the bundle
    std::string_view processName;
};

// All products, in the order in which they are tried; the meeting with its usual application.
std::span<const MainApplication> MainApplications();

// The first product of the table whose key occurs in `componentPath`. `siteConfiguration` is asked for the page's value
// of the site configuration (empty when the page has none) when the product is the meeting.
std::optional<MainApplication> FindMainApplication(std::string_view componentPath,
                                                   const std::function<std::string()> &siteConfiguration);

// The meeting's application: the one for joining when bit 0x4000 of the site configuration (a decimal number) is set.
const MainApplication &MeetingApplication(const std::string &siteConfiguration);
