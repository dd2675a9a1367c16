#include "tests/house/Floors.h"

#include <algorithm>
#include <sstream>

namespace {

std::vector<std::string> LinesOf(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Of a row "| a | b | c |": a, b and c.
std::vector<std::string> CellsOf(const std::string &line) {
    std::vector<std::string> cells;
    std::istringstream stream(line.substr(1));
    for (std::string cell; std::getline(stream, cell, '|');) {
        cells.push_back(cell);
    }
    return cells;
}

bool Contains(const std::vector<std::string> &paths, const std::string &path) {
    return std::ranges::find(paths, path) != paths.end();
}

std::string TopFolder(std::string_view path) {
    return std::string(path.substr(0, path.find('/') + 1));
}

} // namespace

Floors Floors::Read(std::string_view markdown) {
    Floors floors;
    bool inTable = false;
    for (const std::string &line : LinesOf(markdown)) {
        if (line == "| folder | holds | may include |") {
            inTable = true;
        } else if (inTable && !line.starts_with('|')) {
            break;
        } else if (inTable && line.starts_with("| `")) {
            const std::vector<std::string> cells = CellsOf(line);
            const std::size_t up = cells.at(2).find("; up: ");
            Floor floor{QuotedIn(cells[0]).at(0), QuotedIn(cells[2].substr(0, up)), {}, cells[2] == " everything "};
            if (up != std::string::npos) {
                floor.above = QuotedIn(cells[2].substr(up));
            }
            floors.m_rows.push_back(std::move(floor));
        }
    }
    return floors;
}

bool Floors::HasRow(std::string_view folder) const {
    return std::ranges::any_of(m_rows, [&](const Floor &row) { return row.folder == folder; });
}

bool Floors::HasRowsBelow(std::string_view folder) const {
    return std::ranges::any_of(
        m_rows, [&](const Floor &row) { return row.folder != folder && row.folder.starts_with(folder); });
}

const Floor *Floors::RowOf(const std::filesystem::path &file) const {
    const Floor *found = nullptr;
    for (const Floor &row : m_rows) {
        if (file.string().starts_with(row.folder) && (!found || row.folder.size() > found->folder.size())) {
            found = &row;
        }
    }
    const bool directly = found && file.parent_path().string() + "/" == found->folder;
    return found && (directly || !HasRowsBelow(found->folder)) ? found : nullptr;
}

bool Floors::IsOfTheProject(std::string_view path) const {
    return std::ranges::any_of(m_rows, [&](const Floor &row) { return TopFolder(row.folder) == TopFolder(path); });
}

bool Floors::NamesRow(const std::vector<std::string> &paths, const std::string &folder) const {
    return std::ranges::any_of(paths, [&](const std::string &path) {
        return path == folder || (path.ends_with('/') && folder.starts_with(path) && !HasRow(path));
    });
}

bool Floors::MayInclude(const std::filesystem::path &source, const std::string &header) const {
    const Floor *from = RowOf(source);
    const Floor *to = RowOf(header);
    if (!from || !to) {
        return false;
    }
    return from->everything || from == to || from->folder.starts_with(to->folder) ||
           NamesRow(from->below, to->folder) || Contains(from->below, header) || Contains(from->above, header);
}

std::vector<std::vector<std::string>> FloorsInPicture(std::string_view markdown, std::string_view heading) {
    std::vector<std::vector<std::string>> floors;
    bool below = false;
    bool inBlock = false;
    for (const std::string &line : LinesOf(markdown)) {
        below = below || line == heading;
        if (below && line.starts_with("```")) {
            if (inBlock) {
                break;
            }
            inBlock = true;
        } else if (inBlock) {
            std::vector<std::string> names;
            std::istringstream words(line);
            for (std::string word; words >> word;) {
                if (word.ends_with('/')) {
                    names.push_back(word);
                }
            }
            if (!names.empty()) {
                floors.push_back(std::move(names));
            }
        }
    }
    return floors;
}

std::vector<std::string> QuotedIn(std::string_view markdown) {
    std::vector<std::string> quoted;
    bool inBlock = false;
    for (const std::string &line : LinesOf(markdown)) {
        if (line.starts_with("```")) {
            inBlock = !inBlock;
        }
        if (inBlock || line.starts_with("    ") || line.starts_with("```")) {
            continue;
        }
        for (std::size_t at = 0; (at = line.find('`', at)) != std::string::npos;) {
            const std::size_t end = line.find('`', at + 1);
            if (end == std::string::npos) {
                break;
            }
            quoted.push_back(line.substr(at + 1, end - at - 1));
            at = end + 1;
        }
    }
    return quoted;
}
