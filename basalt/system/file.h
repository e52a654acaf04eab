#ifndef BASALT_SYSTEM_FILE_H
#define BASALT_SYSTEM_FILE_H

#include "basalt/export.h"
#include "basalt/system/file_locator.h"
#include "basalt/text/kelp_string.h"

namespace basalt::platform {
struct FILE;
}

// A text file at the place a locator gives, written and read one wide character at a time and
// flushed after every write. The file holds UTF-8 with '\n' line ends; in memory a line end
// is U+000A. The file is open from a successful open until the object goes, and closed
// objects ignore reads and writes.
// One object belongs to one thread at a time. The runtime locks the stream for one write; the log
// relies on its own lock for the rest.
class BASALT_API File {
public:
  // Takes a copy of the locator; touches no file.
  explicit File(const basalt::FileLocator& locator);
  // A copy gets the locator but not the stream: it starts closed, and assigning closes the
  // stream the target had.
  File(const File& other);
  File& operator=(const File& other);
  ~File();

  // Opens the full file name with an fopen mode such as "w+" or "a+". An open file is closed
  // first. False when the file can't be opened, with the cause in errno.
  bool open(const char* mode);

  // The text up to its first NUL character, then a flush.
  void writeString(const KELPString& text);
  // The text and a line end in one write, then a flush.
  void writeLine(const KELPString& text);

  // Appends the rest of the file to out. A read error ends the text like the end of the file.
  void readToEOF(KELPString& out);
  // Appends the rest of the line to out, with what ended it: U+000A, or the end marker 0xFFFF.
  // True when the end of the file was met; false, with out as it was, on a closed file.
  bool readToEOL(KELPString& out);

private:
  basalt::FileLocator locator;
  basalt::platform::FILE* stream;
};

#endif
