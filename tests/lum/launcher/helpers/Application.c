/* An application for the tests to launch. It writes what it was given to the file "report" beside its bundle
 * (X.app/Contents/MacOS/X writes to report in the folder that holds X.app), one thing a line, and then does nothing
 * until it is killed, but not for ever. */
#include <dirent.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

extern char **environ;

static FILE *open_report(void) {
    char path[PATH_MAX + 8];
    ssize_t length = readlink("/proc/self/exe", path, PATH_MAX);
    path[length > 0 ? length : 0] = '\0';
    for (int level = 0; level < 4; ++level) {
        char *slash = strrchr(path, '/');
        if (!slash) {
            return NULL;
        }
        *slash = '\0';
    }
    strcat(path, "/report");
    return fopen(path, "we");
}

static void report_files(FILE *report) {
    DIR *folder = opendir("/proc/self/fd");
    for (struct dirent *entry; folder && (entry = readdir(folder));) {
        char link[300];
        char target[PATH_MAX] = "";
        snprintf(link, sizeof link, "/proc/self/fd/%s", entry->d_name);
        if (readlink(link, target, sizeof target - 1) > 0 && !strstr(target, "/report") && !strstr(target, "/proc/")) {
            fprintf(report, "file %s %s\n", entry->d_name, target);
        }
    }
}

int main(int argc, char **argv) {
    alarm(120);
    FILE *report = open_report();
    if (!report) {
        return 1;
    }
    fprintf(report, "pid %d\n", (int)getpid());
    fprintf(report, "own session %d\n", getsid(0) == getpid());
    for (int i = 1; i < argc; ++i) {
        fprintf(report, "argument %s\n", argv[i]);
    }
    for (char **variable = environ; *variable; ++variable) {
        fprintf(report, "variable %s\n", *variable);
    }
    report_files(report);
    fprintf(report, "end\n");
    fclose(report);
    for (;;) {
        pause();
    }
}
