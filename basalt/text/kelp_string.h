#ifndef BASALT_TEXT_KELP_STRING_H
#define BASALT_TEXT_KELP_STRING_H

#include "basalt/export.h"

#include <cstdarg>
#include <string>

// The library's one string type: 16-bit code units, each handled by itself (surrogate pairs
// are never combined). It takes and gives native 8-bit text in the process's code page,
// automation strings and UTF-8. A copy never shares its buffer.
//
// Which operations stop at the first zero unit and which carry every unit is part of the
// contract; the comments below say which.
// One object belongs to one thread at a time. Strings never share buffers, so two strings, one a
// copy of the other, need no coordination.
class BASALT_API KELPString : public std::basic_string<unsigned short> {
public:
  using Base = std::basic_string<unsigned short>;

  // The kinds of 8-bit text a conversion handles.
  enum NativeType { nativeDefault = 0 };

  KELPString() = default;
  KELPString(const KELPString& other) = default;     // every unit
  KELPString(const char* text);                      // null: empty; up to the NUL
  KELPString(const char* text, unsigned int length); // null: empty; NULs become zero units
  KELPString(const std::string& text);               // every byte
  KELPString(const unsigned short* text);            // null: empty; first zero
  KELPString(const unsigned short* text, unsigned int length); // null: empty; every unit
  KELPString(unsigned short unit);                             // zero gives an empty string
  KELPString(const Base& text);                                // first zero
  KELPString(Base&& text);                                     // every unit, zero units included

  // Assignments return nothing, so they can't be chained.
  void operator=(const KELPString& other);    // every unit
  void operator=(const char* text);           // null empties
  void operator=(const std::string& text);    // every byte
  void operator=(const unsigned short* text); // null empties; first zero
  void operator=(unsigned short unit);        // zero empties
  void operator=(Base text);                  // every unit

  KELPString& operator+=(unsigned short unit);        // zero adds a zero unit
  KELPString& operator+=(const KELPString& other);    // first zero of other
  KELPString& operator+=(unsigned short* const text); // text must not be null; first zero
  KELPString& append(const unsigned short* text);     // text must not be null; first zero
  KELPString& append(const unsigned short* text, unsigned int length);
  KELPString& append(unsigned int count, unsigned short unit);
  KELPString& operator+=(const char* text);                  // null adds nothing
  KELPString& append(const char* text);                      // null adds nothing
  KELPString& append(const char* text, unsigned int length); // null adds nothing

  // Native text, every unit (zero units become zero bytes; a leading zero unit gives "\0").
  std::string string() const;
  std::string& fillString(std::string& target) const;
  Base wstring() const { return *this; }
  Base& fillWString(Base& target) const;
  Base tstring() const { return wstring(); }
  Base& fillTString(Base& target) const { return fillWString(target); }

  // Automation strings: the caller frees the result with SysFreeString. Null when memory
  // runs out; an empty string gives an allocated string of length 0.
  void createBSTR(unsigned short** target) const;
  // Takes the length from the automation string, so zero units survive. Null: returns 0 and
  // leaves the text as it was.
  unsigned int fillFromBSTR(unsigned short* const source);

  // Writes each unit as 1 to 3 bytes (a surrogate is 3 bytes of its own) and zero-fills the
  // rest of buffer; stops at the first unit that doesn't fit. Returns the bytes written.
  // Size buffer at 3 bytes per unit plus 1 to get the whole text, terminated.
  unsigned int toUTF8(char* buffer, unsigned int size) const;

  // A malloc'd copy with a zero unit behind it, for the caller to free; null when out of memory.
  unsigned short* strdup() const;

  // One empty string for the whole process, valid while the library is loaded.
  static const KELPString& nullString();

  // Case comes from fixed tables over the unit range, the same in every locale. They fold:
  // every unit of a case class has one lower and one upper form, and no mapping lengthens a
  // text (U+00DF stays itself).
  static unsigned short chrToLower(unsigned short unit);
  static unsigned short chrToUpper(unsigned short unit);
  void toLower(); // every unit through size(), zero units included
  void toUpper();

  // Comparison of zero-terminated texts; null counts as empty. The sign runs the other way
  // from the C library's: above 0 when first sorts before second. The value is the difference
  // of the stored units at the first place that differs (second's minus first's), so a
  // case-blind comparison gives 0 only for texts that match to their ends.
  static int compare(const unsigned short* first, const unsigned short* second, bool caseBlind);
  // At most count units; an empty and a non-empty text differ even when count is 0.
  static int ncompare(const unsigned short* first, const unsigned short* second, unsigned int count,
                      bool caseBlind);

  // Exact comparisons of this text, up to its first zero unit, by unit value. Native text is
  // converted first, never compared byte by byte; null counts as empty.
  bool operator<(const KELPString& other) const;
  bool operator==(const KELPString& other) const;
  bool operator!=(const KELPString& other) const;
  bool operator==(const unsigned short* text) const;
  bool operator!=(const unsigned short* text) const;
  bool operator==(const char* text) const;
  bool operator!=(const char* text) const;

  // compare and ncompare with this text as first.
  int strcmp(const KELPString& other, bool caseBlind = false) const;
  int strcmp(const unsigned short* text, bool caseBlind = false) const;
  int strcmp(const char* text, bool caseBlind = false) const;
  int strncmp(const KELPString& other, unsigned int count, bool caseBlind = false) const;
  // text must hold count units (bytes for native text).
  int strncmp(const unsigned short* text, unsigned int count, bool caseBlind = false) const;
  int strncmp(const char* text, unsigned int count, bool caseBlind = false) const;

  // Exact search from unit index from; all bits set when there is no match. An empty text is
  // found at from unless from lies beyond the end.
  unsigned int find(const KELPString& text, unsigned int from) const; // every unit of text
  unsigned int find(const char* text, unsigned int from) const;       // up to its first zero
  // The first count units of the converted text.
  unsigned int find(const char* text, unsigned int from, unsigned int count) const;
  // The byte is sign-extended, not converted: 0xE9 looks for U+FFE9.
  unsigned int find(char unit, unsigned int from) const;

private:
  unsigned int copy_from_native(const char* source, unsigned int length, NativeType type);
  unsigned int copy_from_internal(std::string& target, NativeType type) const;
  unsigned int copy_from_internal(Base& target) const;
  unsigned int nat_string_length(const char* text) const;
  unsigned int wide_string_length(const unsigned short* text) const;

  // Hidden, unlike the rest of the class, so that the comparisons can inline them: an exported
  // function may be interposed and is never inlined.
  __attribute__((visibility("hidden"))) static bool chr_same(unsigned short first,
                                                             unsigned short second);
  // Plain equality first, so that the tables are read only for units that differ.
  __attribute__((visibility("hidden"))) static bool chr_same_cb(unsigned short first,
                                                                unsigned short second);

public:
  // The library's printf: a narrow format, 16-bit units out. %s and %c take wide text and a
  // unit; %hs and %hc native text and a byte (%ls and %lc are the wide forms again). Flags,
  // width and precision reach the numeric directives only: %5s adds the text as it is.
  // Integers, '*' values and characters are 32 bits wide (%ld is %d), reals are doubles, and
  // %p prints all hexadecimal digits of the pointer in capitals, without "0x". Outside a
  // directive each byte is widened as a signed byte, so only 7-bit text comes through as
  // itself. There is no blank flag, no "ll", "hh", "I64" or "L", no precision that starts with
  // 0 (".0" is refused), and no %n, %S, %C or %Z.
  //
  // True when the whole format was read (a directive cut off by its end adds nothing); false
  // at the first fault (a null format or %s text, a byte out of place, a number that doesn't fit
  // its 256 bytes), with the text up to the fault kept.
  bool build(const char* format, ...);       // empties the string first, even on a null format
  bool buildAppend(const char* format, ...); // formats behind the text held
  bool vbuild(const char* format, va_list arguments); // empties the string first

  // Replaces the text by its escape form: each unit of 0x00 to 0x20, 0x7F to 0xFF and of
  // "#%&'./:<>@[\]^{|}~ becomes '%' and its capital hexadecimal digits without leading zeros,
  // so a line feed becomes "%A" and a blank "%20". Units of 0x100 and above stay as they are.
  void toEscaped();

private:
  bool vbuild_private(const char* format, va_list arguments); // appends
};

// A constant empty wide text, for wherever a null wide pointer has to count as empty.
BASALT_API extern const unsigned short* const strNULL;

#endif
