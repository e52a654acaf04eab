#ifndef BASALT_DATA_SMART_COMMON_VARIANT_H
#define BASALT_DATA_SMART_COMMON_VARIANT_H

#include "basalt/export.h"
#include "basalt/platform/com/variant.h"
#include "basalt/text/kelp_string.h"

// The types a SmartCommonVariant can hold.
enum CommonVT { CVT_TEXT = 0, CVT_NUMBER = 1, CVT_DATE = 2, CVT_EMPTY = 3, CVT_BOOLEAN = 4 };

// The record every operation works on: the member that type selects. A text is owned; its
// pointer is null until a string is stored and again after clearing.
// Part of a SmartCommonVariant, and so of one thread at a time.
struct CommonVariant {
  union {
    KELPString* text;
    double number; // also a date, with the bits of VT_DATE
    int boolean;   // 0 is false, anything else true
  } value;
  CommonVT type;
};

// A text, a number, a date, a truth value or nothing, converted to and from the automation
// variant. The accessors don't convert: asking for another type than the one held throws
// BaseError 0xC20170A6 (with insert 0xC201A161) and logs it first on the library's log;
// so does comparing two different types unless the left side is empty. One thread at a time.
class BASALT_API SmartCommonVariant {
public:
  SmartCommonVariant();
  SmartCommonVariant(const SmartCommonVariant& other);
  SmartCommonVariant(const KELPString& text);
  // A null text gives an empty text.
  SmartCommonVariant(const unsigned short* text);
  // CVT_DATE when isDate isn't 0, CVT_NUMBER otherwise.
  SmartCommonVariant(const double& value, int isDate);
  // CVT_BOOLEAN holding value itself, not reduced to 0 or 1.
  SmartCommonVariant(int value);
  // As operator=(tagVARIANT&); the argument may change.
  SmartCommonVariant(basalt::platform::tagVARIANT& source);
  virtual ~SmartCommonVariant();

  void Clear();
  CommonVT Type() const;
  // Valid until the next change of this object.
  const KELPString& Text() const;
  const double& Number() const;
  const double& Date() const;
  int Boolean() const;

  // Assigning a variant to itself keeps its value.
  void operator=(const SmartCommonVariant& other);
  // VT_I2, VT_I4 and VT_R8 become CVT_NUMBER, and source itself is changed to VT_R8 on the
  // way; VT_DATE, VT_BSTR and VT_BOOL (true only for VARIANT_TRUE) are taken as they are.
  // Any other type, VT_R4 among them, leaves this variant CVT_EMPTY.
  void operator=(basalt::platform::tagVARIANT& source);
  // Clears target and stores the value: VT_BSTR, VT_R8, VT_DATE, VT_EMPTY or VT_BOOL (0 or
  // 0xFFFF). False for a null target (left alone) and for a text without a string.
  bool Variant(basalt::platform::tagVARIANT* target) const;

  // An empty left side equals everything and is neither less nor greater; otherwise both
  // sides must have the same type. Texts compare by unit value, numbers and dates as
  // numbers, truth values as the signed integers they hold.
  bool operator==(const SmartCommonVariant& other) const;
  bool operator<(const SmartCommonVariant& other) const;
  bool operator>(const SmartCommonVariant& other) const;

private:
  // False when this side is empty; raises the wrong-type error when the types differ.
  bool comparableWith(const SmartCommonVariant& other) const;

  CommonVariant variant;
};

#endif
