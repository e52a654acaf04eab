#include "basalt/text/case_tables.h"
#include "basalt/text/kelp_string.h"

#include <algorithm>

namespace {

bool isEmptyText(const unsigned short* text) {
  return text == nullptr || text[0] == 0;
}

const unsigned short* orEmpty(const unsigned short* text) {
  return text == nullptr ? strNULL : text;
}

// Where either text is empty; an empty text sorts before any other.
int compareWithEmpty(const unsigned short* first, const unsigned short* second) {
  if (isEmptyText(first)) {
    return isEmptyText(second) ? 0 : second[0];
  }
  return -static_cast<int>(first[0]);
}

// Above 0 when first sorts first: the opposite of the C library's sign.
int unitDifference(unsigned short first, unsigned short second) {
  return static_cast<int>(second) - static_cast<int>(first);
}

template <bool (*same)(unsigned short, unsigned short)>
int compareTexts(const unsigned short* first, const unsigned short* second) {
  std::size_t i = 0;
  // A zero unit in first is never the same as a non-zero unit in second, so the walk also
  // stops where first ends.
  while (second[i] != 0 && same(first[i], second[i])) {
    ++i;
  }
  return unitDifference(first[i], second[i]);
}

template <bool (*same)(unsigned short, unsigned short)>
int compareTexts(const unsigned short* first, const unsigned short* second, unsigned int count) {
  for (unsigned int i = 0; i < count; ++i) {
    if (!same(first[i], second[i])) {
      return unitDifference(first[i], second[i]);
    }
    if (first[i] == 0) {
      break; // both end here
    }
  }
  return 0;
}

} // namespace

bool KELPString::chr_same(unsigned short first, unsigned short second) {
  return first == second;
}

bool KELPString::chr_same_cb(unsigned short first, unsigned short second) {
  return first == second || basalt::text::upperCase(first) == basalt::text::upperCase(second);
}

int KELPString::compare(const unsigned short* first, const unsigned short* second, bool caseBlind) {
  if (isEmptyText(first) || isEmptyText(second)) {
    return compareWithEmpty(first, second);
  }
  return caseBlind ? compareTexts<chr_same_cb>(first, second)
                   : compareTexts<chr_same>(first, second);
}

int KELPString::ncompare(const unsigned short* first, const unsigned short* second,
                         unsigned int count, bool caseBlind) {
  if (isEmptyText(first) || isEmptyText(second)) {
    return compareWithEmpty(first, second);
  }
  return caseBlind ? compareTexts<chr_same_cb>(first, second, count)
                   : compareTexts<chr_same>(first, second, count);
}

bool KELPString::operator<(const KELPString& other) const {
  return compare(c_str(), other.c_str(), false) > 0;
}

bool KELPString::operator==(const KELPString& other) const {
  return compare(c_str(), other.c_str(), false) == 0;
}

bool KELPString::operator!=(const KELPString& other) const {
  return !(*this == other);
}

bool KELPString::operator==(const unsigned short* text) const {
  return compare(c_str(), orEmpty(text), false) == 0;
}

bool KELPString::operator!=(const unsigned short* text) const {
  return !(*this == text);
}

bool KELPString::operator==(const char* text) const {
  return compare(c_str(), KELPString(text).c_str(), false) == 0;
}

bool KELPString::operator!=(const char* text) const {
  return !(*this == text);
}

int KELPString::strcmp(const KELPString& other, bool caseBlind) const {
  return compare(c_str(), other.c_str(), caseBlind);
}

int KELPString::strcmp(const unsigned short* text, bool caseBlind) const {
  return compare(c_str(), orEmpty(text), caseBlind);
}

int KELPString::strcmp(const char* text, bool caseBlind) const {
  return compare(c_str(), KELPString(text).c_str(), caseBlind);
}

int KELPString::strncmp(const KELPString& other, unsigned int count, bool caseBlind) const {
  return ncompare(c_str(), other.c_str(), count, caseBlind);
}

// The argument counts as a copy of its first count units. ncompare reads no further than that
// or its first zero unit, so it is read in place; only a count of 0 makes the copy empty.
int KELPString::strncmp(const unsigned short* text, unsigned int count, bool caseBlind) const {
  return ncompare(c_str(), count == 0 ? strNULL : orEmpty(text), count, caseBlind);
}

// Conversion stops at a zero byte for the same reason; no native character has one inside it.
int KELPString::strncmp(const char* text, unsigned int count, bool caseBlind) const {
  unsigned int length = 0;
  while (text != nullptr && length < count && text[length] != '\0') {
    ++length;
  }
  return ncompare(c_str(), KELPString(text, length).c_str(), count, caseBlind);
}

unsigned int KELPString::find(const KELPString& text, unsigned int from) const {
  return static_cast<unsigned int>(Base::find(text.data(), from, text.size()));
}

unsigned int KELPString::find(const char* text, unsigned int from) const {
  return static_cast<unsigned int>(Base::find(KELPString(text).c_str(), from));
}

unsigned int KELPString::find(const char* text, unsigned int from, unsigned int count) const {
  const KELPString converted(text);
  // A count beyond the converted text would read past it.
  const size_type length = std::min<size_type>(count, converted.size());
  return static_cast<unsigned int>(Base::find(converted.data(), from, length));
}

unsigned int KELPString::find(char unit, unsigned int from) const {
  // Sign extension, as a signed char widens: 0xE9 becomes 0xFFE9.
  const auto byte = static_cast<unsigned char>(unit);
  const auto extended = static_cast<unsigned short>(byte < 0x80 ? byte : 0xFF00 | byte);
  return static_cast<unsigned int>(Base::find(extended, from));
}
