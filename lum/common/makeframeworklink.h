// Repair of framework links that were unpacked as small plain files.
//
// An archive that cannot hold links brings, in each framework, a file in place of each link, with the link's target as
// its only content (Versions/Current, say, holding "A"). These functions put the links back. They report nothing:
// whatever cannot be read or replaced stays as it is, and the walk goes on.
#pragma once

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

// Repairs every framework that lies beside the application. `executablePath` has the form
// folder/X.app/Contents/MacOS/X; folder is where the frameworks are looked for. Null, empty, and paths with fewer
// components repair nothing. The text is not changed.
void makeFrameworkLinks(const char *executablePath);

// Repairs one framework: in `folder`, the plain files named like the framework (case counts), "Resources" or "Current"
// (case does not); then likewise in its Versions folder. `frameworkName` is the name with ".framework", also for the
// Versions folder. Null, empty and other names repair nothing, and neither does a link in place of the folder.
void makeOneFrameworkLink(const char *folder, const char *frameworkName);

// Replaces the file by a symbolic link whose target is its first line (1022 bytes at most) exactly as it stands, line
// end included. 0, or -1: for null (reported, "name"), when the file cannot be read or is empty (it is left then), or
// when a system call fails (the file is gone then if it was the making of the link).
int convert_to_symlink(const char *name);

// NOLINTEND(readability-identifier-naming)
