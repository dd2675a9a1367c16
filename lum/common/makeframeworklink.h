// Repair of framework links that were unpacked as small plain files.
#pragma once

void makeFrameworkLinks(const char *executablePath);
void makeOneFrameworkLink(const char *folder, const char *frameworkName);
int convert_to_symlink(const char *name);
