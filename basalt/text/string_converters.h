#ifndef BASALT_TEXT_STRING_CONVERTERS_H
#define BASALT_TEXT_STRING_CONVERTERS_H

// Numbers, variants and GUIDs as text and back, with the library's own digit arithmetic: no
// locale and no runtime number formatting. Digits are 0-9 and A-F (a-f are read too), so a
// radix lies in 2 to 16. The real and GUID texts are stored by clients: their form is fixed.
// Any thread may call these, each on arguments of its own.

#include "basalt/export.h"
#include "basalt/platform/com/guid.h"
#include "basalt/platform/com/variant.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>

namespace StringConverters {

using basalt::platform::_GUID;
using basalt::platform::tagVARIANT;

// text becomes the one digit; false, and text unchanged, outside 0 to 15.
BASALT_API bool convertDigitToString(std::int32_t digit, KELPString& text);
// Reads the first unit only; false, and digit unchanged, when it is no digit.
BASALT_API bool convertStringToDigit(std::int32_t& digit, const KELPString& text);

// text becomes the digits, most significant first, behind a '-' for a negative value; returns
// the number of digits. A radix outside 2 to 16 empties text and returns 0.
BASALT_API std::int32_t convertIntegerToString(std::int32_t value, KELPString& text,
                                               std::int32_t radix);
BASALT_API std::int32_t convertUnsignedLongToString(std::uint32_t value, KELPString& text,
                                                    std::int32_t radix);

// Digits of the radix only, with one leading '-' for the signed form ("-" alone is 0); no
// blanks, no '+', no prefix. The sum wraps at 32 bits. False, and value unchanged, for any
// other text and for a radix above 16. An empty text is false for the signed form, 0 for the
// unsigned one.
BASALT_API bool convertStringToInteger(std::int32_t& value, const KELPString& text,
                                       std::int32_t radix);
BASALT_API bool convertStringToUnsignedInteger(std::uint32_t& value, const KELPString& text,
                                               std::int32_t radix);

// Puts the integer digits in front of text and "." with the fraction digits and a closing "0"
// behind it, so 1.5 gives "1.50" and 0.5 ".50". maxDigits bounds integer and fraction digits
// together but never cuts the integer part; when the integer digits reach it, neither point
// nor fraction is written. The last digit isn't rounded. Returns the digits written, the
// closing "0" not counted. A value that is no finite number gives "-.0", and a radix outside
// 2 to 16 writes nothing; both return 0.
BASALT_API std::int32_t convertRealToString(double value, KELPString& text, std::int32_t radix,
                                            std::int32_t maxDigits);
BASALT_API std::int32_t convertRealToString(float value, KELPString& text, std::int32_t radix,
                                            std::int32_t maxDigits);

// An optional leading '-', digits of the radix, and at most one point unit with digits on
// either side; the first unit must be '-' or a digit, so ".5" is refused and "-.5" taken. No
// exponent. False, and value unchanged, for anything else and for an empty text.
BASALT_API bool convertStringToReal(double& value, const KELPString& text, std::int32_t radix,
                                    unsigned short point);
BASALT_API bool convertStringToReal(float& value, const KELPString& text, std::int32_t radix,
                                    unsigned short point);

// result becomes a new VT_BSTR, without clearing what it held: the text of a VT_I4 (radix 10),
// a VT_R4 (radix 10, 8 digits) or a VT_R8 (radix 10, 16 digits), and the number of digits; any
// other type gives an empty string and -1.
BASALT_API std::int32_t convertVariantToString(tagVARIANT value, tagVARIANT& result);

// Parse the string of a VT_BSTR value in radix 10 (reals with the point "."). result is
// initialised first and, when the text parses, holds the value as VT_I4, VT_R4 or VT_R8.
// A value of another type reads as an empty text.
BASALT_API bool convertVariantStringToInteger(tagVARIANT value, tagVARIANT& result);
BASALT_API bool convertVariantStringToFloat(tagVARIANT value, tagVARIANT& result);
BASALT_API bool convertVariantStringToDouble(tagVARIANT value, tagVARIANT& result);

// "Data1-Data2-Data3-b0,b1,...,b7" in capital hexadecimal with no leading zeros and no braces,
// such as "112233-4455-6677-88,99,AA,BB,CC,DD,EE,FF". Always true.
BASALT_API bool convertGUIDToString(const _GUID& guid, KELPString& text);
// Reads that form back. A field that doesn't parse gives 0, a missing Data1 to Data3 gives 0,
// and Data4 bytes without a field keep their values. Always true.
BASALT_API bool convertStringToGUID(const KELPString& text, _GUID& guid);

} // namespace StringConverters

#endif
