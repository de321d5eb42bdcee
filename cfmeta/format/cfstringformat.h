// The display format of string fields: a width, an alignment, a name and a flag saying that
// the values are to be shown in hexadecimal.
//
// A width of 0 marks the empty format: SetName and SetAlignment do nothing on it, it writes
// nothing and renders nothing. A damaged element reads as the empty format; reading never
// throws. A width of -1 is the free width, the only width at which a string renders.
//
// The hexadecimal flag is kept, read and written for the application that shows the values;
// Format does not apply it.
#ifndef CFMETA_FORMAT_CFSTRINGFORMAT_H_
#define CFMETA_FORMAT_CFSTRINGFORMAT_H_

#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/format/cfcommonformat.h"
#include "cfmeta/format/cfformat.h"

class CFMETA_API CFStringFormat : public CFCommonFormat {
 public:
  // The empty format: width 0, not hexadecimal, Auto, no name.
  CFStringFormat();
  // Auto alignment, no name.
  CFStringFormat(int width, bool hexadecimal);
  // Reads an `XMLElements::StringFormat` element. Name and Width (not 0; any negative width
  // reads as -1) are required; Alignment is Auto when missing; Hexadecimal is false when
  // missing. Anything missing or unknown, a Hexadecimal text other than true or false
  // included, gives the empty format.
  explicit CFStringFormat(const CfExtension::CFXMLWrapper& elem);
  CFStringFormat(const CFStringFormat& other) = default;
  CFStringFormat& operator=(const CFStringFormat& other) = default;
  ~CFStringFormat() override;

  // Becomes what the two-argument constructor makes; a width of 0 leaves the format as it was.
  void Reset(int width, bool hexadecimal);

  // A new CFStringFormat; the caller owns it.
  CFFormat* Clone() const override;
  // Name, width and alignment, and what the empty format does with them, are those of
  // CFCommonFormat.

  bool GetHexRep() const;

  // Renders `value` into `out`, which is emptied first; `units` plays no part. Only a free
  // width renders text: the datum's string up to its first NUL, never padded, cut or turned
  // into hexadecimal.
  //   0  done: free width with a string datum (`out` its text) or a null datum (`out` empty),
  //      or the empty format (`out` empty).
  //   1  free width with a datum that is no string or holds no text, or any fixed positive
  //      width whatever the datum; `out` is empty.
  int Format(const CFDatum& value, ValueUnits units, std::string& out) const override;
  // Writes Name, Width, Alignment and Hexadecimal, in that order. An empty format writes
  // nothing.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;
  // 's'.
  char GetFormatClass() const override;

 private:
  bool m_hexadecimal = false;
};

#endif  // CFMETA_FORMAT_CFSTRINGFORMAT_H_
