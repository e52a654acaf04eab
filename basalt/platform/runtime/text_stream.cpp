#include "basalt/platform/runtime/text_stream.h"

#include "basalt/platform/base/utf8.h"
#include "basalt/platform/runtime/paths.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

namespace basalt::platform {

struct FILE {
  std::FILE* file;
  // Bytes read while decoding that belong to the characters after the one given out.
  unsigned char lookahead[4];
  std::size_t lookaheadCount;
  // The second unit of a surrogate pair whose first unit went out last; 0 when none.
  WCHAR pendingUnit;
  // Whether the last call read: C wants a flush between writing and reading, and a seek
  // between reading and writing.
  bool reading;
  // Room for the bytes of a write, kept so that each line doesn't allocate again; its size is
  // that room, not the bytes of the last write.
  std::string encoded;
};

namespace {

constexpr WCHAR replacementCharacter = 0xFFFD;

// Holds the runtime's own lock of the stream for the length of one call; inside it the calls
// on the stream are the unlocked ones.
class StreamLock {
public:
  explicit StreamLock(std::FILE* file) : file(file) { ::flockfile(file); }
  ~StreamLock() { ::funlockfile(file); }
  StreamLock(const StreamLock&) = delete;
  StreamLock& operator=(const StreamLock&) = delete;

private:
  std::FILE* file;
};

FILE* openStream(const std::string& osName, const std::string& mode) {
  // Up to a ',': a Windows encoding request (",ccs=...") would make the C stream wide. The
  // 'e' after the first letter keeps the file from programs that the process starts.
  std::string osMode = mode.substr(0, mode.find(','));
  if (osMode.empty()) {
    errno = EINVAL;
    return nullptr;
  }
  osMode.insert(1, 1, 'e');
  std::FILE* file = std::fopen(osName.c_str(), osMode.c_str());
  if (file == nullptr) {
    return nullptr;
  }
  auto* stream = new (std::nothrow) FILE{file, {}, 0, 0, false, {}};
  if (stream == nullptr) {
    std::fclose(file);
    errno = ENOMEM;
  }
  return stream;
}

int nextByte(FILE* stream) {
  if (stream->lookaheadCount == 0) {
    return getc_unlocked(stream->file);
  }
  const unsigned char byte = stream->lookahead[0];
  --stream->lookaheadCount;
  std::memmove(stream->lookahead, stream->lookahead + 1, stream->lookaheadCount);
  return byte;
}

// Gives back bytes to be read again, in front of any still waiting. The caller took at least
// one byte more than it gives back, from the lookahead first, so they always fit.
void putBack(FILE* stream, const unsigned char* bytes, std::size_t count) {
  std::memmove(stream->lookahead + count, stream->lookahead, stream->lookaheadCount);
  std::memcpy(stream->lookahead, bytes, count);
  stream->lookaheadCount += count;
}

void startReading(FILE* stream) {
  if (!stream->reading) {
    ::fflush_unlocked(stream->file);
    stream->reading = true;
  }
}

// Puts the file back where the reader got to, dropping what was read ahead.
void startWriting(FILE* stream) {
  if (stream->reading) {
    std::fseek(stream->file, -static_cast<long>(stream->lookaheadCount), SEEK_CUR);
    stream->lookaheadCount = 0;
    stream->pendingUnit = 0;
    stream->reading = false;
  }
}

} // namespace

FILE* fopen(const char* fileName, const char* mode) {
  if (fileName == nullptr || mode == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  return openStream(nativeToOsPath(fileName), mode);
}

FILE* _wfopen(LPCWSTR fileName, LPCWSTR mode) {
  if (fileName == nullptr || mode == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  std::string narrowMode;
  for (; *mode != 0; ++mode) {
    if (*mode >= 0x80) {
      errno = EINVAL;
      return nullptr;
    }
    narrowMode.push_back(static_cast<char>(*mode));
  }
  return openStream(toOsPath(fileName), narrowMode);
}

int fclose(FILE* stream) {
  if (stream == nullptr) {
    errno = EINVAL;
    return EOF;
  }
  const int result = std::fclose(stream->file);
  delete stream;
  return result;
}

int fflush(FILE* stream) {
  if (stream == nullptr) {
    return std::fflush(nullptr);
  }
  const StreamLock lock(stream->file);
  return stream->reading ? 0 : ::fflush_unlocked(stream->file);
}

int fputws(LPCWSTR text, FILE* stream) {
  if (text == nullptr || stream == nullptr) {
    errno = EINVAL;
    return WIDE_EOF;
  }
  const StreamLock lock(stream->file);
  // 7-bit units, the whole of a usual log line, are copied in the same pass that looks for
  // the end; the first other unit hands the rest to the encoder. The bytes' room is kept from
  // line to line.
  std::string& bytes = stream->encoded;
  std::size_t used = 0;
  const WCHAR* unit = text;
  constexpr std::size_t chunk = 64;
  for (std::size_t copied = chunk; copied == chunk; used += copied, unit += copied) {
    if (bytes.size() < used + chunk) {
      bytes.resize(used + chunk);
    }
    char* const out = bytes.data() + used;
    for (copied = 0; copied < chunk && unit[copied] != 0 && unit[copied] < 0x80; ++copied) {
      out[copied] = static_cast<char>(unit[copied]);
    }
  }
  if (*unit != 0) {
    std::size_t length = 0;
    while (unit[length] != 0) {
      ++length;
    }
    bytes.resize(used);
    utf8::append(bytes, unit, length);
    used = bytes.size();
  }
  startWriting(stream);
  return ::fwrite_unlocked(bytes.data(), 1, used, stream->file) == used ? 0 : WIDE_EOF;
}

int fputs(const char* text, FILE* stream) {
  if (text == nullptr || stream == nullptr) {
    errno = EINVAL;
    return EOF;
  }
  const std::size_t length = std::strlen(text);
  const StreamLock lock(stream->file);
  startWriting(stream);
  return std::fwrite(text, 1, length, stream->file) == length ? 0 : EOF;
}

WCHAR fgetwc(FILE* stream) {
  if (stream == nullptr) {
    errno = EINVAL;
    return WIDE_EOF;
  }
  const StreamLock lock(stream->file);
  startReading(stream);
  if (stream->pendingUnit != 0) {
    const WCHAR unit = stream->pendingUnit;
    stream->pendingUnit = 0;
    return unit;
  }
  const int lead = nextByte(stream);
  if (lead == EOF) {
    return WIDE_EOF;
  }
  if (lead < 0x80) {
    return static_cast<WCHAR>(lead);
  }
  // The longest character has four bytes; what it doesn't use is given back.
  unsigned char bytes[4] = {static_cast<unsigned char>(lead)};
  std::size_t available = 1;
  for (int byte = 0; available < sizeof bytes && (byte = nextByte(stream)) != EOF;) {
    bytes[available++] = static_cast<unsigned char>(byte);
  }
  WCHAR units[2];
  int unitCount = 0;
  const std::size_t used = utf8::decode(bytes, available, units, unitCount);
  // A byte that starts no character is the only one lost; decoding goes on behind it.
  const std::size_t consumed = used == 0 ? 1 : used;
  putBack(stream, bytes + consumed, available - consumed);
  if (used == 0) {
    return replacementCharacter;
  }
  if (unitCount == 2) {
    stream->pendingUnit = units[1];
  }
  return units[0];
}

} // namespace basalt::platform
