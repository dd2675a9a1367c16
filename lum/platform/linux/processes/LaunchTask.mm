#import <Foundation/Foundation.h>

#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "lum/platform/linux/processes/EndedTasks.h"
#include "lum/platform/ObjcEach.h"
#include "base/objc/ScopedPool.h"
#include "base/Spawn.h"
#include "lum/platform/Session.h"

namespace {

std::vector<pid_t> &LaunchedTasks() {
    static auto *const pids = new std::vector<pid_t>;
    return *pids;
}

// Texts in the form that exec takes.
class TextList {
public:
    void Add(NSString *text) {
        const char *bytes = [text UTF8String];
        m_texts.emplace_back(bytes ? bytes : "");
    }

    char *const *Pointers() {
        m_pointers.clear();
        for (std::string &text : m_texts) {
            m_pointers.push_back(text.data());
        }
        m_pointers.push_back(nullptr);
        return m_pointers.data();
    }

private:
    std::vector<std::string> m_texts;
    std::vector<char *> m_pointers;
};

TextList ArgumentsOf(NSTask *task) {
    TextList list;
    list.Add([task launchPath]);
    for (NSString *argument : Each<NSString *>([task arguments])) {
        list.Add(argument);
    }
    return list;
}

TextList EnvironmentOf(NSTask *task) {
    TextList list;
    NSDictionary *environment = [task environment];
    for (NSString *name : Each<NSString *>([environment allKeys])) {
        list.Add([NSString stringWithFormat:@"%@=%@", name, [environment objectForKey:name]]);
    }
    return list;
}

} // namespace

void CollectEndedTasks() {
    std::erase_if(LaunchedTasks(), [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
}

int LaunchTask(NSTask *task) {
    const base::ScopedPool pool;
    NSString *path = [task launchPath];
    if ([path length] == 0) {
        errno = ENOENT;
        return -1;
    }
    TextList arguments = ArgumentsOf(task);
    TextList environment = EnvironmentOf(task);
    pid_t pid = -1;
    base::SpawnFiles files;
    for (const int stream : {0, 1, 2}) {
        files.Open(stream, "/dev/null", stream == 0 ? O_RDONLY : O_WRONLY);
    }
    files.CloseFrom(3);
    const base::SpawnAttributes attributes(POSIX_SPAWN_SETSID);
    const int error = posix_spawn(&pid, [path fileSystemRepresentation], files.get(), attributes.get(),
                                  arguments.Pointers(), environment.Pointers());
    if (error) {
        errno = error;
        return -1;
    }
    LaunchedTasks().push_back(pid);
    return pid;
}
