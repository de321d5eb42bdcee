// The one typed scalar of the library: null, or a signed 64-bit integer, a double, or an owned
// NUL-terminated byte string.
//
// Null is a flag that any type carries. A string datum's length counts its terminating NUL, so
// "" has length 1 and a null string has length 0. Copies are deep.
#ifndef CFMETA_FIELD_CFDATUM_H_
#define CFMETA_FIELD_CFDATUM_H_

#include <cstdint>
#include <string>
#include <type_traits>

#include "cfmeta/cfmeta_export.h"

class CFMETA_API CFDatum {
 public:
  enum DataType : int32_t { Integer = 0, Real = 1, String = 2 };

  // A null integer datum.
  CFDatum() : m_isNull(true), m_type(Integer), m_length(0) { m_value.i = 0; }
  CFDatum(long long value) : m_isNull(false), m_type(Integer), m_length(0) { m_value.i = value; }
  // Plain int, unsigned and the other integral types pick the integer form.
  template <typename T, typename std::enable_if<std::is_integral<T>::value &&
                                                    !std::is_same<T, long long>::value &&
                                                    !std::is_same<T, bool>::value,
                                                int>::type = 0>
  CFDatum(T value) : CFDatum(static_cast<long long>(value)) {}
  CFDatum(double value) : m_isNull(false), m_type(Real), m_length(0) { m_value.d = value; }
  // A null datum of `type`; a null string owns no buffer.
  static CFDatum MakeNull(DataType type) {
    CFDatum datum;
    datum.m_type = type;
    if (type == String) datum.m_value.s = nullptr;
    return datum;
  }
  // A string datum; null when `isNull` is true or `text` is null.
  CFDatum(const char* text, bool isNull);
  CFDatum(const CFDatum& other);
  CFDatum& operator=(const CFDatum& other);
  // Takes `other`'s value and buffer; `other` is left a null integer datum.
  CFDatum(CFDatum&& other) noexcept;
  CFDatum& operator=(CFDatum&& other) noexcept;
  virtual ~CFDatum();

  // Turns this datum into a string datum, reusing its buffer when the size is unchanged.
  // `text` may point into this datum's own buffer.
  void SetValue(const char* text, bool isNull);

  // Three-way comparison: -1/0/1 for integers and reals, strcmp's own result for strings
  // (test its sign only), and 2 when either is null or the types differ. Reals compare as 1
  // whenever they are unequal without this one being smaller, so NaN gives 1 both ways.
  int Compare(const CFDatum& other) const;

  // The value as text ("%.15g" for reals, "%lld" for integers). A null datum prints "-INF"
  // for a negative `infinitySign`, "INF" for a positive one (both true), and nothing (false)
  // for 0.
  bool ToString(std::string& out, int infinitySign) const;

  bool IsNull() const { return m_isNull; }
  DataType GetType() const { return m_type; }
  long long GetInt() const { return m_value.i; }
  double GetReal() const { return m_value.d; }
  // Null when there is no buffer. Owned by the datum.
  const char* GetString() const { return m_value.s; }
  // Buffer size including the NUL for a string datum; 0 otherwise.
  uint64_t GetLength() const { return m_length; }

 private:
  bool m_isNull;
  DataType m_type;
  uint64_t m_length;
  union {
    long long i;
    double d;
    char* s;
  } m_value;

  void ReleaseString();
};

#endif  // CFMETA_FIELD_CFDATUM_H_
