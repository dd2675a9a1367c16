#import "fuzzywindow/PropertyListFile.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#import <Foundation/Foundation.h>

namespace {

constexpr std::uintmax_t kLargestList = 1 << 20;

std::string Failure(const std::string &what, int error) {
    return what + ": " + std::generic_category().message(error);
}

bool WriteAll(int file, const std::string &content) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t written = write(file, content.data() + done, content.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        done += static_cast<std::size_t>(written);
    }
    return true; // not flushed: one that a power failure emptied counts as none, and a start should not wait for the
                 // disk
}

} // namespace

NSDictionary *ReadPropertyList(const std::string &path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || size > kLargestList) {
        return nil;
    }
    try {
        NSData *data = [NSData dataWithContentsOfFile:[NSString stringWithUTF8String:path.c_str()]];
        id content = data ? [NSPropertyListSerialization propertyListWithData:data
                                                                      options:NSPropertyListImmutable
                                                                       format:nullptr
                                                                        error:nullptr]
                          : nil;
        return [content isKindOfClass:[NSDictionary class]] ? content : nil;
    } catch (...) { // the reader of damaged lists throws
        return nil;
    }
}

namespace {

// The name of the file under which a process writes ends with its number, so that what a killed one has left is known.
constexpr std::string_view kTemporaryEnd = ".new";

// The process in the name of a temporary file of `path`, or 0 when it is none.
pid_t WriterOf(const std::string &name, const std::string &prefix) {
    const bool isTemporary =
        name.starts_with(prefix) && name.ends_with(kTemporaryEnd) && name.size() > prefix.size() + kTemporaryEnd.size();
    return isTemporary ? static_cast<pid_t>(std::strtol(name.c_str() + prefix.size(), nullptr, 10)) : 0;
}

void RemoveLeftovers(const std::string &path) {
    const std::filesystem::path file(path);
    const std::string prefix = file.filename().string() + ".";
    std::error_code error;
    for (std::filesystem::directory_iterator i(file.parent_path(), error), end; !error && i != end;
         i.increment(error)) {
        const pid_t writer = WriterOf(i->path().filename().string(), prefix);
        if (writer > 0 && writer != getpid() && kill(writer, 0) != 0 && errno == ESRCH) {
            unlink(i->path().c_str());
        }
    }
}

} // namespace

std::string WriteFileAtomically(const std::string &path, const std::string &content) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    if (error) {
        return Failure("cannot make the folder of " + path, error.value());
    }
    RemoveLeftovers(path);
    const std::string temporary = path + "." + std::to_string(getpid()) + std::string(kTemporaryEnd);
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) {
        return Failure("cannot write " + path, errno);
    }
    const bool written = WriteAll(file, content);
    const int writeError = errno;
    close(file);
    if (written && rename(temporary.c_str(), path.c_str()) == 0) {
        return "";
    }
    const int failure = written ? errno : writeError;
    unlink(temporary.c_str());
    return Failure("cannot write " + path, failure);
}

std::string WritePropertyList(const std::string &path, NSDictionary *content) {
    NSData *data = [NSPropertyListSerialization dataWithPropertyList:content
                                                              format:NSPropertyListXMLFormat_v1_0
                                                             options:0
                                                               error:nullptr];
    if (!data) {
        return "cannot put " + path + " into words";
    }
    return WriteFileAtomically(path, std::string(static_cast<const char *>([data bytes]), [data length]));
}
