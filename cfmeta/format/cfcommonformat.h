// What the concrete display formats hold alike: a name, a width and an alignment, and, for
// all but the string format, a number of decimals.
//
// A width of 0 marks the empty format. The shared setters do nothing on it, so an empty
// format stays empty and nameless; its getters report what it holds, except GetDecimals,
// which reads 0. Each concrete format documents the rest of its empty state.
#ifndef CFMETA_FORMAT_CFCOMMONFORMAT_H_
#define CFMETA_FORMAT_CFCOMMONFORMAT_H_

#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/format/cfformat.h"

class CFMETA_API CFCommonFormat : public CFFormat {
 public:
  ~CFCommonFormat() override;

  // Ignored on the empty format.
  void SetName(const std::string& name) override;
  int GetWidth() const override;
  Alignment GetAlignment() const override;
  // Ignored on the empty format.
  void SetAlignment(Alignment align);
  std::string GetName() const override;

 protected:
  // Width 0 (the empty format), Auto alignment, no name.
  CFCommonFormat() = default;
  // Auto alignment, no name.
  explicit CFCommonFormat(int width) : m_width(width) {}
  CFCommonFormat(const CFCommonFormat& other) = default;
  CFCommonFormat& operator=(const CFCommonFormat& other) = default;

  int m_width = 0;
  Alignment m_alignment = Auto;
  std::string m_name;

  bool IsEmpty() const { return m_width == 0; }
};

// A common format that also carries a number of decimals.
class CFMETA_API CFDecimalsFormat : public CFCommonFormat {
 public:
  ~CFDecimalsFormat() override;

  // 0 for the empty format.
  unsigned int GetDecimals() const;
  // Ignored on the empty format, and also when `width` is 0: a format cannot be emptied this
  // way.
  void SetWidthDecimals(int width, unsigned int decimals);

 protected:
  // Width 0 (the empty format), Auto alignment, no name, 0 decimals.
  CFDecimalsFormat() = default;
  // Auto alignment, no name.
  CFDecimalsFormat(int width, unsigned int decimals)
      : CFCommonFormat(width), m_decimals(decimals) {}
  CFDecimalsFormat(const CFDecimalsFormat& other) = default;
  CFDecimalsFormat& operator=(const CFDecimalsFormat& other) = default;

  unsigned int m_decimals = 0;
};

#endif  // CFMETA_FORMAT_CFCOMMONFORMAT_H_
