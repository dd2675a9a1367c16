// What a program of the project does before it makes its application object. Main thread.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Leaves the window library only the program's name of `argv`, which it would otherwise take for settings ("-NSFont")
// and for documents to open, each of which ends in an alert. The first thing that main() does. `argv` itself stays as
// it is.
void HideArguments(char **argv);

// Gives the program the project's look. `themePath` is the theme bundle's full path, UTF-8, not kept. What the user has
// chosen for this program or for all (`defaults write NSGlobalDomain GSTheme ...`) wins. When there is no bundle at the
// path (or it is null) the window library's own look stays; the rest holds all the same: no icon of the program in a
// corner of the screen, clicks made while the program was busy are not lost (EventQueue.h), and SIGINT and SIGTERM stay
// the program's (KeepSignals.h). Nothing is reported, because nothing can be done about it.
void UseTheme(const char *themePath);

#ifdef __cplusplus
}
#endif
