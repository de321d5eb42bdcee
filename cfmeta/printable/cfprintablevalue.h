// One value shown through a display format: a datum, its storage subtype (plain, date, time
// or timestamp), an optional label and its own copy of the format.
//
// The datum and the format always agree, by the format's class:
//   real datum, Plain                     number ('n') or decorated ('c')
//   real datum, Date, Time or Timestamp   date ('d') or time ('t'), whichever the subtype
//   integer datum, Plain                  number or decorated
//   string datum, Plain                   string ('s')
// Anything else is refused with CFPrintable::FailExcp, by the constructor and by the reader.
//
// The label is written to XML but never read back: a value read from an element has none.
#ifndef CFMETA_PRINTABLE_CFPRINTABLEVALUE_H_
#define CFMETA_PRINTABLE_CFPRINTABLEVALUE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/printable/cfprintable.h"

class CFDatum;
class CFFormat;

class CFMETA_API CFPrintableValue : public CFPrintable {
 public:
  // How a real datum counts: dates in days, times and timestamps in seconds.
  enum StorageSubType : int32_t { Plain = 0, Date = 1, Time = 2, Timestamp = 3 };

  // Copies `value` and a clone of `format`. Throws FailExcp when they disagree.
  CFPrintableValue(const CFDatum& value, StorageSubType subtype, const CFFormat& format);
  // Reads a "PrintableValue" element: "isNull" ("true" or "false") when present, the
  // required storage and, unless null, the value in its storage's form (a finite number for
  // the real storages), and the first child element as the format. Throws FailExcp when any
  // of these is missing or bad, or when the datum and format disagree.
  explicit CFPrintableValue(const CfExtension::CFXMLWrapper& element);
  CFPrintableValue(const CFPrintableValue& other);
  CFPrintableValue& operator=(const CFPrintableValue& other);
  ~CFPrintableValue() override;

  // Null when `element` is not a "PrintableValue" (`matched` false) or cannot be read
  // (`matched` true). The caller owns the result. Never throws FailExcp.
  static CFPrintableValue* CreateFromElmt(const CfExtension::CFXMLWrapper& element, bool& matched);

  void SetLabel(const std::string& label);

  CFPrintable* Clone() const override;
  // The format's text for the datum; empty when the format fails.
  std::string Print() const override;
  // A value has no pattern to resolve; does nothing.
  void SetResLookUp(CFResLookUp* lookUp) override;
  // Writes the storage, the value (or "isNull" and an empty value), the label when there is
  // one, and the format as the only child. A real that is not a finite number cannot be
  // written, since it would not read back.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

#endif  // CFMETA_PRINTABLE_CFPRINTABLEVALUE_H_
