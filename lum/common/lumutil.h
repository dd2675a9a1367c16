// Traces, the reader of profile (INI) files, and file, process, version, hash and language functions.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "lum/platform/objcforward.h"

LUM_FORWARD_CLASS(NSBundle);
LUM_FORWARD_CLASS(NSString);
typedef struct __CFBundle *CFBundleRef;

// --- Tracing ---
void MacDebugTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
void MacInfoTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
void MacWarnTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
void MacErrorTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
// The assertion idiom: traces "ASSERT %s failed at file %s, line %d\r\n" at error level; execution goes on.
void TraceAssertionFailure(const char *expression, const char *file, int line);

// --- INI reader ---
char *QXTrimStringA(char *str);
char *QXTrimString(char *str);
bool QXReadIni(FILE *stream, const char *section, const char *key, char *out, unsigned int outSize);
unsigned int QXGetPrivateProfileString(const char *section, const char *key, const char *defaultValue, char *out,
                                       unsigned int outSize, const char *path);
unsigned int QXGetPrivateProfileInt(const char *section, const char *key, unsigned int defaultValue, const char *path);

// --- Strings and numbers ---
unsigned int GetTickCount();
unsigned int CalcSequenceDistance(unsigned int from, unsigned int to);
std::string::size_type replaceall(std::string &text, const std::string &from, const std::string &to);
std::vector<std::string> divideStr(const std::string &text, const std::string &separators);
void FormalizeVersionString(std::string &out, const char *version);
std::string localizedExtNameFromLanguageID(const char *languageId);

// --- Files and folders ---
std::string GetTempPath();
std::string GetApplicationSupportDirectory();
bool MakeDirectory(const char *path);
bool FileExists(const std::string &path);
bool isDir(const char *path);
bool isLink(const char *path);
unsigned int GetTempFileName(const std::string &folder, const std::string &prefix, std::string &out);
bool RemoveFile(const std::string &path);
bool GetFileVersionString(char *path, char *dest, int size);

// --- Processes ---
unsigned int GetPIDForProcessName(const char *name);
int GetAllPIDsForProcessName(const char *name, unsigned int *pids, unsigned int capacity, unsigned int *count,
                             int *error);

// --- Hashes and code modules ---
std::string Sha1OfFile(const std::string &path);
std::string Sha256OfFile(const std::string &path);
CFBundleRef LoadLibrary(const std::string &path);
void *GetFunctionPointer(CFBundleRef bundle, const char *name);
int FreeLibrary(CFBundleRef bundle);

// --- The extension's own bundle ---
// The bundle of the extension, or nil when its code does not lie in one. Autoreleased.
NSBundle *ExtensionBundle();
// `key` looked up in the table "Localizable_%s" of `bundle` for the page's language identifier (null: English);
// the key itself when there is no such text. Autoreleased.
NSString *LocalizedText(NSBundle *bundle, const char *languageId, NSString *key);
