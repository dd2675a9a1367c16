// Runs a command and says what it took: seconds, CPU seconds (user and system), and the most memory (KiB) that it or
// any process that it waited for held. With the word "until" first, the seconds end when the command prints a line that
// holds a text; it then runs to its end all the same.
//
//     lum_measure [until TEXT] OUTPUT-FILE COMMAND [ARGUMENT]...
//
// One line on standard error: "SECONDS CPU-SECONDS KIB". Its exit status is the command's.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(const timeval &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Copies the command's output into the file; the time of the line that was waited for, if there was one.
Clock::time_point Copy(int from, const char *file, std::string_view awaited) {
    std::ofstream output(file);
    std::FILE *lines = fdopen(from, "r");
    char *line = nullptr;
    std::size_t room = 0;
    Clock::time_point seen{};
    while (getline(&line, &room, lines) >= 0) {
        if (seen == Clock::time_point() && !awaited.empty() && std::string_view(line).find(awaited) != awaited.npos) {
            seen = Clock::now();
        }
        output << line;
    }
    std::free(line);
    std::fclose(lines);
    return seen;
}

} // namespace

int main(int argc, char **argv) {
    std::string_view awaited;
    if (argc > 2 && std::string_view(argv[1]) == "until") {
        awaited = argv[2];
        argv += 2;
        argc -= 2;
    }
    int ends[2];
    if (argc < 3 || pipe(ends) != 0) {
        std::fputs("usage: lum_measure [until TEXT] OUTPUT-FILE COMMAND [ARGUMENT]...\n", stderr);
        return 2;
    }
    const Clock::time_point begin = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execvp(argv[2], argv + 2);
        std::perror(argv[2]);
        _exit(127);
    }
    close(ends[1]);
    const Clock::time_point seen = Copy(ends[0], argv[1], awaited);
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child) {
        std::perror("wait4");
        return 2;
    }
    const Clock::time_point end = seen == Clock::time_point() ? Clock::now() : seen;
    std::fprintf(stderr, "%.3f %.3f %ld\n", std::chrono::duration<double>(end - begin).count(),
                 Seconds(used.ru_utime) + Seconds(used.ru_stime), used.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
