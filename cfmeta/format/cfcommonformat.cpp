#include "cfmeta/format/cfcommonformat.h"

CFCommonFormat::~CFCommonFormat() = default;

void CFCommonFormat::SetName(const std::string& name) {
  if (!IsEmpty()) m_name = name;
}

int CFCommonFormat::GetWidth() const { return m_width; }

CFFormat::Alignment CFCommonFormat::GetAlignment() const { return m_alignment; }

void CFCommonFormat::SetAlignment(Alignment align) {
  if (!IsEmpty()) m_alignment = align;
}

std::string CFCommonFormat::GetName() const { return m_name; }

CFDecimalsFormat::~CFDecimalsFormat() = default;

unsigned int CFDecimalsFormat::GetDecimals() const { return IsEmpty() ? 0 : m_decimals; }

void CFDecimalsFormat::SetWidthDecimals(int width, unsigned int decimals) {
  if (IsEmpty() || width == 0) return;
  m_width = width;
  m_decimals = decimals;
}
