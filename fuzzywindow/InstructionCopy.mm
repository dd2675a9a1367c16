#import "fuzzywindow/InstructionCopy.h"

#include <ctime>
#include <filesystem>
#include <sstream>

#include "base/Files.h"
#import "base/objc/ScopedPool.h"
#include "fuzzywindow/LumFuzzyWindow.h"
#import "fuzzywindow/PropertyListFile.h"

namespace {

constexpr char kCopyName[] = "lummac.ini";
constexpr char kRecordSuffix[] = ".plist";
constexpr std::uint64_t kLargestFile = 16 << 20;
constexpr long long kDay = 24 * 60 * 60;
NSString *const kHashKey = @"SHA256";
NSString *const kTimeKey = @"SavedAt";

std::string RecordPath(const std::string &copy) {
    return copy + kRecordSuffix;
}

bool IsSameFile(const std::string &left, const std::string &right) {
    std::error_code error;
    return std::filesystem::equivalent(left, right, error);
}

// A section with some key in it: the least that instructions need. The error page of a site has neither.
bool HoldsInstructions(const std::string &content) {
    std::istringstream lines(content);
    bool inSection = false;
    for (std::string line; std::getline(lines, line);) {
        const auto start = line.find_first_not_of(" \t\r");
        if (start == std::string::npos) {
            continue;
        }
        if (line[start] == '<') {
            return false;
        }
        if (line[start] == '[' && line.find(']', start) != std::string::npos) {
            inSection = true;
        } else if (inSection && line.find('=', start) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool IsYoung(id savedAt) {
    if (![savedAt isKindOfClass:[NSNumber class]]) {
        return false;
    }
    const long long now = std::time(nullptr);
    const long long then = [savedAt longLongValue];
    return then > 0 && then <= now && now - then < kDay;
}

} // namespace

std::string InstructionCopy::Path() const {
    const std::string folder = m_delegate.getDefInstallPath();
    return folder.empty() ? std::string() : (std::filesystem::path(folder) / kCopyName).string();
}

bool InstructionCopy::IsWholeAndYoung() const {
    const std::string copy = Path();
    if (copy.empty()) {
        return false;
    }
    const base::ScopedPool pool;
    NSDictionary *record = ReadPropertyList(RecordPath(copy));
    id hash = [record objectForKey:kHashKey];
    if (![hash isKindOfClass:[NSString class]] || [hash length] == 0 || !IsYoung([record objectForKey:kTimeKey])) {
        return false;
    }
    return m_delegate.sha256(copy.c_str()) == [hash UTF8String];
}

void InstructionCopy::Keep(const char *path) {
    const std::string copy = Path();
    if (!path || !*path || copy.empty() || IsSameFile(path, copy)) {
        return;
    }
    const base::Result<std::string> content = base::ReadWhole(path, kLargestFile);
    if (!content || !HoldsInstructions(*content)) {
        m_delegate.traceWarning(std::string("The instruction file is not kept, it holds no instructions: ") + path);
        return;
    }
    base::Result<void> kept = base::ReplaceFile(copy, *content, base::Readers::Owner, base::Durability::Cached);
    if (kept) {
        kept = WriteRecord(copy);
    }
    if (!kept) {
        m_delegate.traceWarning("The instruction file is not kept: " + kept.error().text);
    }
}

base::Result<void> InstructionCopy::WriteRecord(const std::string &copy) const {
    const base::ScopedPool pool;
    NSString *hash = [NSString stringWithUTF8String:m_delegate.sha256(copy.c_str()).c_str()];
    NSNumber *now = [NSNumber numberWithLongLong:std::time(nullptr)];
    return WritePropertyList(RecordPath(copy),
                             [NSDictionary dictionaryWithObjectsAndKeys:hash, kHashKey, now, kTimeKey, nil]);
}

void InstructionCopy::Forget() {
    const std::string copy = Path();
    if (!copy.empty()) {
        std::error_code ignored; // a record that cannot be removed leaves the copy as good as it was
        std::filesystem::remove(RecordPath(copy), ignored);
    }
}
