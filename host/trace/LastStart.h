// What is kept of the last start for support: a trace without private values, and facts about the machine.
//
// Two files in the state folder, for their owner only: "last-start.json" and "last-start.log". They are written while
// the start runs, so that they exist after a crash, too.
#pragma once

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include "base/Result.h"
#include "base/ScopedFile.h"
#include "delivery/page/Page.h"
#include "host/Folders.h"
#include "host/trace/Redactor.h"
#include "host/trace/TraceCollector.h"

namespace lumhost {

class LastStart {
public:
    // Replaces what was kept. When the folder cannot be written nothing is kept; the start goes on without it.
    LastStart(const Folders &folders, const delivery::Page &page, const std::filesystem::path &extension);

    // Any thread, one at a time.
    void Add(const TraceLine &line);
    // Writes what was added to the file; cheap when there is nothing.
    void Flush();
    // A further fact; kept with the next End.
    void Note(const std::string &name, const std::string &value);
    // Adds the end to the facts.
    void End(int status, const std::string &reason, int message);

    // Packs what is kept, the list of what is installed and the doctor's findings into a .tar.gz for its owner only.
    // Fails when nothing is kept or the file cannot be written.
    static base::Result<void> Pack(const Folders &folders, const std::string &installed, const std::string &findings,
                                   const std::filesystem::path &file);

private:
    void WriteFacts() const;

    const Folders m_folders;
    const Redactor m_redactor;
    std::map<std::string, std::string> m_facts;
    base::ScopedFile m_log;
    std::string m_lastText;
    unsigned m_repeated = 0;
    std::size_t m_size = 0;
};

} // namespace lumhost
