// Gives a program the project's look.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Call before the application object exists, on the main thread. `themePath` is the theme bundle's full path, UTF-8, not
// kept. The settings go into the registration domain: what the user has chosen for this program or for all
// (`defaults write NSGlobalDomain GSTheme ...`) wins. When there is no bundle at the path (or it is null), the window
// library's own look stays and the other settings still hold. Nothing is reported, because nothing can be done about it.
void UseTheme(const char *themePath);

#ifdef __cplusplus
}
#endif
