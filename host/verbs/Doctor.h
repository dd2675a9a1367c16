// Looks whether the machine has what a start needs, and says what to do about the rest.
#pragma once

#include <string>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

struct Finding {
    enum class Grade {
        Good,
        Note, // works without it, with less comfort
        Bad,  // a start will fail
    };
    Grade grade;
    std::string subject;
    std::string text;
    std::string remedy; // empty when good
};

// Takes up to a few seconds. Main thread. Makes no folder and leaves nothing behind.
std::vector<Finding> Examine(const Folders &folders);

std::string ToText(const std::vector<Finding> &findings);
bool AnyBad(const std::vector<Finding> &findings);

// The single examinations:
Finding ExamineWindows();
Finding ExamineNotifications();
std::vector<Finding> ExamineCrypto(const std::vector<std::string> &libraries);
Finding ExamineRoots();
// `folder`, or the nearest one above it that exists, can be written.
Finding ExamineFolder(const std::string &subject, const std::filesystem::path &folder);
Finding ExamineExtension(const std::filesystem::path &bundle);
Finding ExamineTheme(const std::filesystem::path &theme);
Finding ExamineCodeset();

} // namespace lumhost
