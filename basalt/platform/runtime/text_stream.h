#ifndef BASALT_PLATFORM_RUNTIME_TEXT_STREAM_H
#define BASALT_PLATFORM_RUNTIME_TEXT_STREAM_H

// Text files of the runtime library. Files hold UTF-8 whatever the C locale says, and a line
// end is the one byte '\n' in text and binary mode alike ("t" and "b" in a mode change
// nothing). Reading turns each character above U+FFFF into a surrogate pair and each byte
// that starts no valid character into U+FFFD. Every call locks the stream for its length.
// Streams are not inherited by programs the process starts.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

struct FILE;

// The runtime library's WEOF for its 16-bit wint_t: what fgetwc gives at the end of the file
// and on a read error. (WEOF itself is a macro of the C library.)
constexpr WCHAR WIDE_EOF = 0xFFFF;

// Opens a file with a mode of fopen ("r", "w+", "a+" ...); null with errno set on failure.
// The name is a library path in the process's ANSI code page.
FILE* fopen(const char* fileName, const char* mode);
// The same with a wide name and mode.
FILE* _wfopen(LPCWSTR fileName, LPCWSTR mode);

// 0 when the stream was closed cleanly; EOF otherwise. The stream is gone either way.
int fclose(FILE* stream);
// 0 on success, EOF on a write error. Null flushes every open stream.
int fflush(FILE* stream);

// Writes the text up to its NUL as UTF-8; a lone surrogate becomes U+FFFD. 0 on success,
// WIDE_EOF on failure.
int fputws(LPCWSTR text, FILE* stream);

// Writes the bytes up to the NUL as they are: narrow text is taken to be UTF-8 already. 0 on
// success, EOF on failure.
int fputs(const char* text, FILE* stream);
// The next unit of the file, or WIDE_EOF.
WCHAR fgetwc(FILE* stream);

} // namespace basalt::platform

#endif
