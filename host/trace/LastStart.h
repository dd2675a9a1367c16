// What is kept of the last start for support: a trace without what is private, and facts about the machine.
//
// Two files in the state folder, for their owner only: "last-start.json" and "last-start.log". They are written while
// the start runs, so that they are there after a crash, too.
#pragma once

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "host/Folders.h"
#include "delivery/page/Page.h"
#include "host/trace/Redactor.h"
#include "host/trace/TraceCollector.h"

namespace lumhost {

class LastStart {
public:
    // Replaces what was kept. When the folder cannot be written nothing is kept, which is no reason not to start.
    LastStart(const Folders &folders, const delivery::Page &page, const std::filesystem::path &extension);

    // Any thread, one at a time.
    void Add(const TraceLine &line);
    // Brings what was added to the disk; cheap when there is nothing.
    void Flush();
    // A further fact; kept with the next End.
    void Note(const std::string &name, const std::string &value);
    // Adds the end to the facts.
    void End(int status, const std::string &reason, int message);

    // Packs what is kept, what is installed and `findings` (of the doctor) into a .tar.gz for its owner only.
    // False, with a sentence, when there is nothing kept or the file cannot be written.
    static bool Pack(const Folders &folders, const std::string &findings, const std::filesystem::path &file,
                     std::string &error);

private:
    struct Close {
        void operator()(std::FILE *file) const {
            std::fclose(file);
        }
    };

    void WriteFacts() const;

    const Folders m_folders;
    const Redactor m_redactor;
    std::map<std::string, std::string> m_facts;
    std::unique_ptr<std::FILE, Close> m_log;
    std::string m_lastText;
    unsigned m_repeated = 0;
    std::size_t m_size = 0;
};

} // namespace lumhost
