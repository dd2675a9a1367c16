// The table of floors in docs/dev/architecture.md and the picture of them in README.md: which folder may include what.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/house/SourceFile.h"

// One row. Folders end in "/" and start at the project's root.
struct Floor {
    std::string folder;
    std::vector<std::string> below; // folders and single headers of lower floors that it may include
    std::vector<std::string> above; // the exceptions: single headers of a higher floor
    bool everything = false;
};

class Floors {
public:
    // The rows of the first table with these columns: folder, holds, may include. The lowest floor comes first.
    static Floors Read(std::string_view markdown);

    const std::vector<Floor> &rows() const {
        return m_rows;
    }
    // The row that a file belongs to: the longest that holds it, unless that folder's own folders have rows (those
    // have to be named one by one). Null when there is none.
    const Floor *RowOf(const std::filesystem::path &file) const;
    // Whether `path` (a folder or a header) begins in a folder of the table.
    bool IsOfTheProject(std::string_view path) const;
    // `header` starts at the project's root.
    bool MayInclude(const std::filesystem::path &source, const std::string &header) const;

private:
    bool HasRow(std::string_view folder) const;
    bool HasRowsBelow(std::string_view folder) const;
    // Whether one of the paths names the row of this folder; one without a row of its own names all rows below it.
    bool NamesRow(const std::vector<std::string> &paths, const std::string &folder) const;

    std::vector<Floor> m_rows;
};

// The folders of each line of the first code block after `heading`, the top line first; every name ends in "/".
std::vector<std::vector<std::string>> FloorsInPicture(std::string_view markdown, std::string_view heading);

// The texts between single backticks, code blocks left out.
std::vector<std::string> QuotedIn(std::string_view markdown);
