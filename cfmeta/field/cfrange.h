// CFRange, a closed interval of datums (a field's valid range, or the range part of a
// missing-value definition), and CFMissingValues, which says which data values of a field count
// as missing.
//
// Membership tests answer 0 no, 1 yes, 2 cannot be decided (a null datum, or a datum of
// another type than the limits or list entries).
#ifndef CFMETA_FIELD_CFRANGE_H_
#define CFMETA_FIELD_CFRANGE_H_

#include <utility>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cfvalue.h"

namespace CfExtension {
class CFXMLWrapper;
}

// A null limit leaves that side open. The empty range is the pair (integer 1, integer 0): a
// lower limit above the upper one. A range whose limits are both null is empty too.
class CFMETA_API CFRange {
 public:
  // The empty range.
  CFRange();
  // Takes both limits as given, unchecked.
  CFRange(const CFDatum& lower, const CFDatum& upper);
  // Reads an XMLElements::Range element, its limits read as datums of `type`; a missing limit
  // is open. String ranges, unconvertible limits and a minimum above the maximum give the
  // empty range.
  CFRange(const CfExtension::CFXMLWrapper& element, CFDatum::DataType type);

  // Lower limit first.
  const std::pair<CFDatum, CFDatum>& GetLimits() const { return m_limits; }

  // True when the lower limit is above the upper one, or when both are null. A range with one
  // null limit is half-open, and one whose limits are of different types is not empty either.
  bool IsEmpty() const;

  // 1 when `datum` lies within the limits (both inclusive), 0 outside or when the range is
  // empty, 2 for a null datum or one that cannot be compared with a limit.
  int CheckInRange(const CFDatum& datum) const;

  // Appends an XMLElements::Range element with the limits that are not null. An empty range
  // writes nothing. On success `created` points to the new element; otherwise it is null and
  // `parent` is as it was. `isMissingRange` does not change the output.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created,
                 bool isMissingRange) const;

 private:
  std::pair<CFDatum, CFDatum> m_limits;
};

// Which values count as missing: a range, a list of discrete values, and two switches for null
// values and all-blank strings. Nothing is checked on construction; IsValid says whether the
// parts agree on one type.
class CFMETA_API CFMissingValues {
 public:
  // Empty range and list; null is missing, white space is not.
  CFMissingValues() = default;
  CFMissingValues(const CFRange& range, const std::vector<CFValue>& values, bool treatNull,
                  bool treatWhitespace);

  const CFRange& GetMissingRange() const { return m_range; }
  const std::vector<CFValue>& GetMissingValueList() const { return m_values; }
  bool IsNullMissing() const { return m_treatNull; }
  bool IsWhiteSpMissing() const { return m_treatWhitespace; }

  // Every listed value is non-null and of the reference type: the type of the range's lower
  // limit when the range is not empty, else that of the first listed value. An empty list is
  // valid.
  bool IsValid() const;

  // For text: a null text is missing when null is treated as missing; a listed text is
  // missing (2 when the list does not hold strings); otherwise, when white space is treated as
  // missing, a text made only of Unicode white space (the empty text included) is missing.
  // Malformed UTF-8 counts as a non-space character. The range plays no part.
  int CheckForMissing(const char* text) const;
  // A string datum is tested as its text. Otherwise a null datum is missing when null is
  // treated as missing; then the list is searched (a non-zero answer stands), then the range.
  int CheckForMissing(const CFDatum& datum) const;

 private:
  CFRange m_range;
  std::vector<CFValue> m_values;
  bool m_treatNull = true;
  bool m_treatWhitespace = false;
};

#endif  // CFMETA_FIELD_CFRANGE_H_
