// The kept copy of the instruction file, and beside it the record of what was kept: a property list with the copy's
// "SHA256" and the time, "SavedAt" (seconds since 1970). Each is replaced as a whole, the copy first. So whatever
// interrupts the keeping, copy and record either belong together or the hash says that they do not.
#pragma once

#include <string>

#include "base/Result.h"

class ILumFuzzyWindowDelegate;

class InstructionCopy {
public:
    // `delegate` names the folder and computes hashes; not owned.
    explicit InstructionCopy(ILumFuzzyWindowDelegate &delegate) : m_delegate(delegate) {}

    // Where the copy is, or would be; "" when none is kept.
    std::string Path() const;
    // The copy is there, unchanged, and younger than a day.
    bool IsWholeAndYoung() const;
    // Keeps a copy of the file at `path`. Neither null, nor "", nor the copy itself changes anything.
    void Keep(const char *path);
    // The copy no longer counts as whole.
    void Forget();

private:
    base::Result<void> WriteRecord(const std::string &copy) const;

    ILumFuzzyWindowDelegate &m_delegate;
};
