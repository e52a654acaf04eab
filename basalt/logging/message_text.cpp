#include "basalt/logging/message_text.h"

namespace basalt {

bool formatMessageText(const KELPString& raw, int insertCount, const unsigned short** inserts,
                       KELPString& text) {
  if (insertCount > 0 && inserts == nullptr) {
    return false;
  }
  constexpr unsigned short percent = '%';
  const KELPString::size_type size = raw.size();
  KELPString::size_type from = 0;
  for (KELPString::size_type at = raw.Base::find(percent); at != KELPString::npos;
       at = raw.Base::find(percent, from)) {
    text.append(raw.data() + from, static_cast<unsigned int>(at - from));
    if (at + 1 == size) {
      from = at; // a '%' at the end stays
      break;
    }
    const unsigned short next = raw[at + 1];
    const int number = static_cast<int>(next) - '0';
    if (next == percent) {
      text += percent;
    } else if (number >= 1 && number <= insertCount) {
      if (inserts[number - 1] != nullptr) {
        text.append(inserts[number - 1]);
      }
    } else {
      text.append(raw.data() + at, 2);
    }
    from = at + 2;
  }
  text.append(raw.data() + from, static_cast<unsigned int>(size - from));
  return true;
}

} // namespace basalt
