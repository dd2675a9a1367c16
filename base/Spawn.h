// What a new process begins with (posix_spawn).
#pragma once

#include <signal.h>
#include <spawn.h>

namespace base {

// Every signal as by default and none blocked, whatever this thread has made of them; and the further flags.
class SpawnAttributes {
public:
    explicit SpawnAttributes(short flags) {
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setflags(&m_attributes,
                                 static_cast<short>(flags | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
        sigset_t signals;
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_attributes, &signals);
    }
    ~SpawnAttributes() {
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnAttributes(const SpawnAttributes &) = delete;
    SpawnAttributes &operator=(const SpawnAttributes &) = delete;
    const posix_spawnattr_t *get() const {
        return &m_attributes;
    }

private:
    posix_spawnattr_t m_attributes;
};

// Its open files: those of this process that are not closed by themselves, and these changes in their order.
class SpawnFiles {
public:
    SpawnFiles() {
        posix_spawn_file_actions_init(&m_actions);
    }
    ~SpawnFiles() {
        posix_spawn_file_actions_destroy(&m_actions);
    }
    SpawnFiles(const SpawnFiles &) = delete;
    SpawnFiles &operator=(const SpawnFiles &) = delete;

    void Open(int descriptor, const char *path, int flags) {
        posix_spawn_file_actions_addopen(&m_actions, descriptor, path, flags, 0);
    }
    // This process's `from` becomes its `descriptor`.
    void Take(int from, int descriptor) {
        posix_spawn_file_actions_adddup2(&m_actions, from, descriptor);
    }
    void CloseFrom(int descriptor) {
        posix_spawn_file_actions_addclosefrom_np(&m_actions, descriptor);
    }
    const posix_spawn_file_actions_t *get() const {
        return &m_actions;
    }

private:
    posix_spawn_file_actions_t m_actions;
};

} // namespace base
