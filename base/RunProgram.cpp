#include "base/RunProgram.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/Files.h"

namespace base {

namespace {

class FileActions {
public:
    FileActions() {
        posix_spawn_file_actions_init(&m_actions);
    }
    ~FileActions() {
        posix_spawn_file_actions_destroy(&m_actions);
    }
    FileActions(const FileActions &) = delete;
    FileActions &operator=(const FileActions &) = delete;

    int Start(const std::vector<std::string> &words, const std::filesystem::path &folder, int in, int out, pid_t &pid) {
        posix_spawn_file_actions_adddup2(&m_actions, in, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&m_actions, out, STDOUT_FILENO);
        posix_spawn_file_actions_addchdir_np(&m_actions, folder.c_str());
        std::vector<char *> arguments;
        for (const std::string &word : words) {
            arguments.push_back(const_cast<char *>(word.c_str()));
        }
        arguments.push_back(nullptr);
        return posix_spawnp(&pid, arguments[0], &m_actions, nullptr, arguments.data(), environ);
    }

private:
    posix_spawn_file_actions_t m_actions;
};

int WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

std::string EndText(int status) {
    return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

Result<std::string> OutputOfProgram(const std::vector<std::string> &words, const std::filesystem::path &folder,
                                    std::string_view input, std::size_t maxBytes) {
    if (words.empty()) {
        return Fail("no program is named", ENOENT);
    }
    // A file in memory, not a pipe: who writes a pipe and reads another may wait for ever.
    const ScopedDescriptor in(memfd_create("input", MFD_CLOEXEC));
    int ends[2];
    if (!in || pipe2(ends, O_CLOEXEC) != 0) {
        return SystemFailure("cannot start " + words[0], errno);
    }
    const ScopedDescriptor out(ends[0]);
    ScopedDescriptor written(ends[1]);
    if (const Result<void> filled = WriteAll(in.get(), input); !filled || lseek(in.get(), 0, SEEK_SET) != 0) {
        return SystemFailure("cannot start " + words[0], filled ? errno : filled.error().code);
    }
    pid_t pid = -1;
    if (const int number = FileActions().Start(words, folder, in.get(), written.get(), pid); number != 0) {
        return SystemFailure("cannot start " + words[0], number);
    }
    written.Close();
    std::string output = ReadStart(out.get(), maxBytes + 1);
    const bool isTooLong = output.size() > maxBytes;
    if (isTooLong) {
        kill(pid, SIGKILL);
    }
    const int status = WaitFor(pid);
    if (isTooLong) {
        return Fail(words[0] + " writes more than " + std::to_string(maxBytes) + " bytes", EFBIG);
    }
    if (status != 0) {
        return Fail(words[0] + " " + EndText(status), ECHILD);
    }
    return output;
}

} // namespace base
