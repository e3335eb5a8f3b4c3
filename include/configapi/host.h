// What the library asks of its host: logging, INI reading and the host's name.
//
// A gateway host brings its own implementations. The stand-ins in liblogapi
// and libqxmsconf serve tests, tools and small hosts; an executable may define
// any of the three names itself, and its definition then wins.

#ifndef CONFIGAPI_HOST_H_
#define CONFIGAPI_HOST_H_

#include <configapi/export.h>

CONFIGAPI_BEGIN_C

// Writes one log entry. Level 1 marks an error, level 6 information; source
// names the module that speaks. Both texts are NUL-terminated and not null.
//
// The stand-in writes one line with time, level, source and text in a single
// write, to standard error or, when CONFIGAPI_LOG is "syslog", to syslog.
// CONFIGAPI_LOG_LEVEL is the highest level that is written (default 6; 0
// silences everything). Control bytes in the text become '?', so that a
// stranger's text cannot forge an entry. Any thread may call it.
CONFIGAPI_EXPORT void LogMessage(int level, const char* source,
                                 const char* text);

// Reads one value of an INI file into buffer, which has room for size bytes.
//
// Section and key are compared without regard to letter case. When the file,
// the section or the key is missing, the default is delivered (null counts as
// the empty text). A line is a section in brackets, a key and its value with
// '=' or ':' between them, or a comment that ';' begins; a section's name of
// more than 48 bytes is not found, and lines are cut at 1 MiB. Blanks around a
// value and one pair of matching quotes are taken off. Of two equal keys the
// first answers. A null section lists the names of all sections with keys
// that can be found, a null key all keys of the section: each name with its
// NUL, one more NUL at the end.
//
// Returns the number of bytes stored without the terminating NUL. A value that
// does not fit is cut to size - 1 bytes, which is then the result; a list that
// does not fit is cut, ends in two NULs and gives size - 2. A size of 0 stores
// nothing and gives 0. The file is read afresh by every call. Any thread may
// call it. A name without '/' is looked for in the folder that
// QXMSCONF_DIR names, or else in the current folder.
CONFIGAPI_EXPORT unsigned long GetPrivateProfileString(
    const char* section, const char* key, const char* default_value,
    char* buffer, unsigned long size, const char* file);

// The host's name, NUL-terminated; the line I/O logs under it. The stand-in
// library holds "configapi"; an executable that defines it wins.
CONFIGAPI_EXPORT extern char appName[];

CONFIGAPI_END_C

#endif  // CONFIGAPI_HOST_H_
