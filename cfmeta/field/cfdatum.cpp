#include "cfmeta/field/cfdatum.h"

#include <cstring>
#include <utility>

#include "cfmeta/xml/cfxmlwrapper.h"

CFDatum::CFDatum(const char* text, bool isNull) : m_isNull(true), m_type(String), m_length(0) {
  m_value.s = nullptr;
  if (isNull || text == nullptr) return;
  m_isNull = false;
  m_length = std::strlen(text) + 1;
  m_value.s = new char[m_length];
  std::memcpy(m_value.s, text, m_length);
}

CFDatum::CFDatum(const CFDatum& other) : m_isNull(true), m_type(Integer), m_length(0) {
  m_value.i = 0;
  *this = other;
}

CFDatum::CFDatum(CFDatum&& other) noexcept : CFDatum() { *this = std::move(other); }

CFDatum& CFDatum::operator=(CFDatum&& other) noexcept {
  if (this == &other) return *this;
  ReleaseString();
  m_isNull = other.m_isNull;
  m_type = other.m_type;
  m_length = other.m_length;
  m_value = other.m_value;
  other.m_isNull = true;
  other.m_type = Integer;
  other.m_length = 0;
  other.m_value.i = 0;
  return *this;
}

CFDatum::~CFDatum() { ReleaseString(); }

void CFDatum::ReleaseString() {
  if (m_type == String && m_value.s != nullptr) {
    delete[] m_value.s;
    m_value.s = nullptr;
  }
}

CFDatum& CFDatum::operator=(const CFDatum& other) {
  if (this == &other) return *this;
  // Allocate before releasing so that a failed allocation leaves this datum as it was.
  char* copy = nullptr;
  if (other.m_type == String && !other.m_isNull && other.m_value.s != nullptr) {
    copy = new char[other.m_length];
    std::memcpy(copy, other.m_value.s, other.m_length);
  }
  ReleaseString();
  m_isNull = other.m_isNull;
  m_type = other.m_type;
  m_length = other.m_length;
  if (copy != nullptr) {
    m_value.s = copy;
  } else if (other.m_type == String) {
    // A null string never shares its source's buffer.
    m_value.s = nullptr;
  } else {
    m_value = other.m_value;
  }
  return *this;
}

void CFDatum::SetValue(const char* text, bool isNull) {
  const uint64_t size = !isNull && text != nullptr ? std::strlen(text) + 1 : 0;
  char* buffer = m_type == String ? m_value.s : nullptr;
  if (size != 0 && (buffer == nullptr || size != m_length)) {
    // A new buffer is filled before the old one goes: `text` may point into it, and a failed
    // allocation leaves this datum as it was.
    char* fresh = new char[size];
    std::memcpy(fresh, text, size);
    ReleaseString();
    buffer = fresh;
  } else if (size != 0) {
    std::memmove(buffer, text, size);  // same size: the buffer is kept
  } else if (size != m_length) {
    ReleaseString();
    buffer = nullptr;
  }
  m_isNull = size == 0;
  m_type = String;
  m_value.s = buffer;
  m_length = size;
}

int CFDatum::Compare(const CFDatum& other) const {
  if (m_isNull || other.m_isNull || m_type != other.m_type) return 2;
  switch (m_type) {
    case Integer:
      if (m_value.i < other.m_value.i) return -1;
      return m_value.i == other.m_value.i ? 0 : 1;
    case Real:
      if (other.m_value.d > m_value.d) return -1;
      return m_value.d == other.m_value.d ? 0 : 1;
    default:
      return std::strcmp(m_value.s != nullptr ? m_value.s : "",
                         other.m_value.s != nullptr ? other.m_value.s : "");
  }
}

bool CFDatum::ToString(std::string& out, int infinitySign) const {
  out.clear();
  if (m_isNull) {
    if (infinitySign == 0) return false;
    out = infinitySign < 0 ? "-INF" : "INF";
    return true;
  }
  switch (m_type) {
    case Integer:
      return CfExtension::CFXMLWrapper::ToString(m_value.i, out);
    case Real:
      return CfExtension::CFXMLWrapper::ToString(m_value.d, out);
    default:
      if (m_value.s != nullptr) out = m_value.s;
      return true;
  }
}
