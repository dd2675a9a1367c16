// Traces, the reader of profile (INI) files, and functions for files, processes, versions, hashes, languages and code.
//
// For the whole file:
// - Texts and paths are UTF-8. A `const char *` must not be null unless a function says what null means; one that
//   reports a null argument does so with the assertion idiom (TraceAssertionFailure) and then fails as if nothing had
//   been found. Results are the caller's own.
// - Nothing throws except std::bad_alloc. The result reports failures; they are traced where a function says so.
// - Main thread only, but for the traces. An autorelease pool is needed only where an object is returned.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "lum/platform/ObjcForward.h"

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

LUM_FORWARD_CLASS(NSBundle);
LUM_FORWARD_CLASS(NSString);
typedef struct __CFBundle *CFBundleRef;

// --- Tracing ---
//
// A trace is one line, formatted as printf does and posted at once, on the calling thread, as the notification
// "TRACENOTIFICATIONNotification" of the process's default notification centre (no sender). Its user info has the line
// ("ContentKey", text), "LUMExt" ("ModuleKey", text) and the level ("Levelkey", so spelled, integer number): 0 debug,
// 1 information, 2 warning, 3 error. Observe the notification to get the lines; none is kept for later.
//
// A line is cut at 4095 bytes and gets no line end. One that is not UTF-8 then is dropped. Any thread; never fails.
void MacDebugTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
void MacInfoTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
void MacWarnTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
void MacErrorTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The assertion idiom: traces "ASSERT %s failed at file %s, line %d\r\n" at error level; execution goes on, the caller
// takes its failure branch. `expression` is the source text of what should have held, `file` the unit's path from
// "lum/" on. The finished line is formatted once more as a trace's format, so neither text may hold a "%".
// Assertion.h has the form that the sources use.
void TraceAssertionFailure(const char *expression, const char *file, int line);

// --- INI reader ---
//
// Argument order as in the profile functions of another system, rules of its own:
// - Read line by line; of a line longer than 2047 bytes each piece of that many counts as a line. A NUL byte ends its
//   line early.
// - A line that holds a "[" and a "]" anywhere is a section header; the name begins after the first "[" and ends at the
//   first "]" or the line's end. Only the first section of a name is read, up to the next header of any name.
// - A line with "=" sets the key before the first "=" to the value after it. Every other line is skipped; there are no
//   comments.
// - Names and keys are compared without regard to (ASCII) case. Names, keys and values lose the blanks around them
//   (space, tab, carriage return, line feed); a value in a pair of double or single quotes loses these, and then the
//   blanks inside them.
// Every call answers for the file as it is then: it is searched from its start, or what an earlier call read of it
// answers while the file's status says that it is the same (base/FileVersion.h). A missing file, section or key is not
// an error.

// Trims `str` in place at its end and returns the address of its first character that is not a blank. The two are the
// same. Null is reported ("lpszString") and returned; callers do not rely on that.
char *QXTrimStringA(char *str);
char *QXTrimString(char *str);

// Reads from the current position of `stream`. True: the value is in `out`, cut to `outSize` - 1 bytes and terminated.
// False: `out` is untouched.
bool QXReadIni(FILE *stream, const char *section, const char *key, char *out, unsigned int outSize);

// Returns the length of what it leaves in `out`: the value, cut to `outSize` - 1 bytes, or else `defaultValue` (null:
// empty), cut to one byte less than that. Always terminated, unless `outSize` is 0: nothing is written then. A null
// `path` is a missing file.
unsigned int QXGetPrivateProfileString(const char *section, const char *key, const char *defaultValue, char *out,
                                       unsigned int outSize, const char *path);

// The decimal number at the start of the value (blanks and a sign may precede it, anything may follow);
// `defaultValue` when there is no value, or it does not begin with a number. A negative number wraps. A null `path` is
// a missing file.
unsigned int QXGetPrivateProfileInt(const char *section, const char *key, unsigned int defaultValue, const char *path);

// --- Strings and numbers ---

// Milliseconds since the first call in the process, which gives 0; wraps after 49 days. Follows the time of day: when
// that goes back to before the first call, counting starts again at 0.
unsigned int GetTickCount();

// From `from` to `to`, modulo 2^32: also right when the tick count has wrapped between the two.
unsigned int CalcSequenceDistance(unsigned int from, unsigned int to);

// Replaces every `from` in `text`, left to right; what was inserted is not searched. Returns npos. An empty `from`
// changes nothing.
std::string::size_type replaceall(std::string &text, const std::string &from, const std::string &to);

// The parts of `text` between any of the characters of `separators`. A separator at the start and each pair of
// neighbours give an empty part, one at the end gives none. No parts when either is empty.
std::vector<std::string> divideStr(const std::string &text, const std::string &separators);

// Sets `out` to the parts of `version` between blanks and commas, joined with ",", and traces it. Parts may be empty
// ("1, 2" gives "1,,2"). An empty version, or null (reported, "lpszSrc"), leaves `out` as it is.
void FormalizeVersionString(std::string &out, const char *version);

// The name of the localization for the page's language identifier "1" ... "20"; "English" for null or anything else.
std::string localizedExtNameFromLanguageID(const char *languageId);

// --- Files and folders ---

// The user's temporary folder, without a "/" at its end; empty, and reported, when there is none.
std::string GetTempPath();

// The user's Application Support folder, which need not exist; empty, and reported, unless there is exactly one.
std::string GetApplicationSupportDirectory();

// Makes one folder, with the permissions 0775 as far as the process's mask lets them be. False when that fails, also
// when the folder is there already, or for null.
bool MakeDirectory(const char *path);

// True when something is at the path; where it ends in a link, at the link's target. False for an empty path.
// A path with ".dylib" in it has to pass IsDylibFileExists(path, 1) as well, which renews the library's link: it is
// true only when that could be done.
bool FileExists(const std::string &path);

// True for a folder, or for a symbolic link; a link at the end of the path is not followed. False, too, when the status
// cannot be read, or for null (reported, "path").
bool isDir(const char *path);
bool isLink(const char *path);

// Sets `out` to `folder` + `prefix` + number + ".tmp", a file that does not exist, and returns the number, 1 to 9999;
// `folder` brings its "/" along. The file is not made: the next call gives the same name until the caller makes it. 0
// when all names are taken (`out` holds the last one; the next call begins again at 1). The numbers of all folders and
// prefixes go on from one another.
unsigned int GetTempFileName(const std::string &folder, const std::string &prefix, std::string &out);

// Removes a file, a link, or a folder with all that is in it, and traces how that went. What cannot be removed is
// renamed to a hidden name beside it (".", name, ".", tick count), or else to its name with ".deltmp", and removed
// there as far as possible.
//
// True: nothing is at the path any more, or the path is empty; parts of the item may be left under the new name.
//
// False: nothing was there, or something still is; of a folder, a part may be gone.
//
// A "/" at the end is allowed behind a folder's name and a link's. The link goes, what it leads to stays.
bool RemoveFile(const std::string &path);

// The version of what is at `path`, its numbers joined with ",", in `dest`; empty when there is none. False when
// nothing is at `path`, or for a null argument (reported, "0"; `dest` is untouched then).
//
// A file: GetVersionFromDylib's, cut to `size` bytes with its end; true when there is one.
//
// A folder: "CFBundleVersion" of its property list, at most 255 bytes whatever `size` says, so `dest` must have room
// for 256. True says only that there was a property list to look for. A folder with ".app", ".bundle" or ".framework"
// in its name must hold its executable, else false.
bool GetFileVersionString(char *path, char *dest, int size);

// --- Processes ---

// Instead of a process id: no such process.
constexpr unsigned int kNoProcessId = 0xFFFFFFFF;

// The process id of the user's first running application of this name, without regard to (ASCII) case; kNoProcessId
// when there is none, or for null. The process may have ended by the time the caller looks.
unsigned int GetPIDForProcessName(const char *name);

// The ids of all processes of the system whose kernel command name agrees with `name`, case included, in the first 16
// characters. (The kernel may keep fewer: Linux cuts command names at 15.) `pids` has room for `capacity` ids and is
// cleared first; `count` gets their number. `error` may be null, and gets the system's error number or 0.
//
// 0: at least one; -1: none; -2: a null argument or no capacity (nothing is written then); -3: no process table; -4: no
// memory (12); -5: more than `capacity`, of which the first are given.
int GetAllPIDsForProcessName(const char *name, unsigned int *pids, unsigned int capacity, unsigned int *count,
                             int *error);

// --- Hashes and code modules ---

// The file's digest in lower-case hexadecimal digits. Empty when the file cannot be opened, for an empty file, and when
// the crypto library lacks the digest. A read error ends the file early, and so gives another digest.
//
// The file's stream stays open until the process ends: each call takes a descriptor (not passed on to launched
// applications) and about 600 bytes for good. A container that hashes many files raises its limit.
std::string Sha1OfFile(const std::string &path);
std::string Sha256OfFile(const std::string &path);

// The code bundle at `path`, its code not loaded yet; the caller releases it with FreeLibrary. Null for an empty path
// or when there is no bundle.
CFBundleRef LoadLibrary(const std::string &path);

// The bundle's exported function of this name, loading its code if need be; null when there is none or either argument
// is null.
void *GetFunctionPointer(CFBundleRef bundle, const char *name);

// Releases the bundle, which may be null. Always 1.
int FreeLibrary(CFBundleRef bundle);

// --- The extension's own bundle ---

// The bundle of the extension, or nil when its code does not lie in one. Autoreleased.
NSBundle *ExtensionBundle();

// `key` looked up in the table "Localizable_%s" of `bundle` for the page's language identifier (null: English);
// the key itself when there is no such text or the bundle is nil. Autoreleased.
NSString *LocalizedText(NSBundle *bundle, const char *languageId, NSString *key);

// NOLINTEND(readability-identifier-naming)
