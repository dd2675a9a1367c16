#include "host/run/Navigator.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <array>

#include "base/Text.h"

namespace lumhost {

namespace {

bool OpenInBrowser(const std::string &url) {
    std::string program = "xdg-open";
    std::string address = url;
    std::array<char *, 3> arguments = {program.data(), address.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0); // standard output is ours
    pid_t pid = 0;
    const int error = posix_spawnp(&pid, program.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0;
}

// Downloads do not use the part after "#"; a page that is shown does.
std::string Fragment(std::string_view url) {
    const std::size_t hash = url.find('#');
    std::string fragment;
    for (const char c : url.substr(hash == std::string_view::npos ? url.size() : hash)) {
        const bool plain = c > ' ' && c < 0x7F && c != '"' && c != '<' && c != '>' && c != '`';
        fragment += plain ? std::string(1, c) : base::PercentEncode({&c, 1});
    }
    return fragment;
}

} // namespace

void Navigator::SendTo(const char *target, const char *url) {
    if (!url) {
        m_sink.OnNavigation({target, std::nullopt});
        return;
    }
    const std::optional<base::Url> absolute = m_page.Resolve(url);
    const std::string address = absolute ? absolute->text() + Fragment(url) : std::string(url);
    m_sink.OnNavigation({target, address});
    if (!m_open) {
        return;
    }
    if (!absolute) {
        m_sink.OnProblem("the next page is not opened: its address is neither http nor https");
    } else if (!OpenInBrowser(address)) {
        m_sink.OnProblem("the next page is not opened: there is no xdg-open (package xdg-utils)");
    }
}

} // namespace lumhost
