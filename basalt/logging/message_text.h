#ifndef BASALT_LOGGING_MESSAGE_TEXT_H
#define BASALT_LOGGING_MESSAGE_TEXT_H

#include "basalt/text/kelp_string.h"

namespace basalt {

// Appends raw to text with its references replaced by inserts. A reference is '%' and exactly
// one character: "%%" gives one '%'; a character whose code less that of '0' is n, from 1 to
// insertCount, gives inserts[n - 1] (so '1' to '9', then ':' for 10, ';' for 11 and so on),
// and a null insert gives nothing. Anything else, "%0" and a number above insertCount
// included, stays as written, as does a '%' at the end. Inserts are not scanned again.
// False, with text as it was, when insertCount is above 0 and inserts is null.
bool formatMessageText(const KELPString& raw, int insertCount, const unsigned short** inserts,
                       KELPString& text);

} // namespace basalt

#endif
