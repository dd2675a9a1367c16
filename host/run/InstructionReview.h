// What the container reads in the instruction file before the extension gets it: whether anything can come of it, and
// which packages it names. The extension says nothing about a file that it finds nothing in; it just waits.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "delivery/page/Page.h"

namespace lumhost {

struct InstructionReview {
    struct Package {
        std::string url; // below the page's LumUrlRoot, as the file has it
        std::string hashValue;
        std::string hashMethod;
    };

    // Why the page cannot start anything with this file, and what to do: a sentence and another one. Empty when it can,
    // or when the extension itself has something to say about it (a page without a component).
    std::string fault;
    // It is something else than an instruction file, such as a web page.
    bool isForeign = false;
    std::vector<Package> packages; // of the section that the page uses
};

// `host` is the site's, for the sentence. A file that the extension could use has no fault.
InstructionReview ReviewInstructions(std::string_view text, const delivery::Page &page, const std::string &host);

} // namespace lumhost
