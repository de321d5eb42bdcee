// The common shape of every display format: a name, a width and an alignment; a deep copy of
// itself; rendering of one datum as UTF-8 text; and writing itself as one XML element.
//
// A format of width 0 is the empty format: it is what a damaged element reads as.
#ifndef CFMETA_FORMAT_CFFORMAT_H_
#define CFMETA_FORMAT_CFFORMAT_H_

#include <cstdint>
#include <string>

#include "cfmeta/cfmeta_export.h"

class CFDatum;
namespace CfExtension {
class CFXMLWrapper;
}

class CFMETA_API CFFormat {
 public:
  // How a real datum counts for a date or time format. Number and string formats ignore it.
  enum ValueUnits : uint32_t { NoUnits = 0, Seconds = 1, Days = 2 };
  enum Alignment : uint32_t { Left = 0, Center = 1, Right = 2, Auto = 3 };
  // These three share enumerator names, so they are always written qualified
  // (CFFormat::GroupingSymbol::Comma).
  enum class DecimalSymbol : uint32_t { Period = 0, Comma = 1, Local = 2 };
  enum class GroupingSymbol : uint32_t { None = 0, Period = 1, Comma = 2, Space = 3, Local = 4 };
  enum class UnitsSeparator : uint32_t {
    None = 0,
    Period = 1,
    Comma = 2,
    Space = 3,
    Colon = 4,
    Dash = 5,
    Slash = 6,
    Local = 7
  };

  virtual ~CFFormat() = default;
  // A new deep copy of the same concrete class; the caller owns it.
  virtual CFFormat* Clone() const = 0;
  virtual void SetName(const std::string& name) = 0;
  virtual int GetWidth() const = 0;
  virtual Alignment GetAlignment() const = 0;
  virtual std::string GetName() const = 0;
  // Renders `value` into `out`. 0 on success; any other value is a failure.
  virtual int Format(const CFDatum& value, ValueUnits units, std::string& out) const = 0;
  // Appends this format's element to `parent`. The element is finished before it is attached,
  // so on failure `created` is null and `parent` is as it was.
  virtual void AddToTree(CfExtension::CFXMLWrapper& parent,
                         CfExtension::CFXMLWrapper*& created) const = 0;
  // 'n' number, 'c' decorated, 'd' date, 't' time, 's' string.
  virtual char GetFormatClass() const = 0;
};

#endif  // CFMETA_FORMAT_CFFORMAT_H_
