// Helpers that the field model's tests share.
#ifndef CFMETA_FIELD_CFFIELD_TESTUTIL_H_
#define CFMETA_FIELD_CFFIELD_TESTUTIL_H_

#include <initializer_list>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cfvalue.h"

namespace cfmeta_test {

// The datum's written text; "null" for a null datum.
inline std::string DatumText(const CFDatum& datum) {
  if (datum.IsNull()) return "null";
  std::string text;
  datum.ToString(text, 0);
  return text;
}

// Unlabelled values without markers.
inline std::vector<CFValue> ValueList(std::initializer_list<CFDatum> datums) {
  std::vector<CFValue> list;
  for (const CFDatum& datum : datums) list.emplace_back(datum);
  return list;
}

}  // namespace cfmeta_test

#endif  // CFMETA_FIELD_CFFIELD_TESTUTIL_H_
