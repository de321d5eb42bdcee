// Helpers the summary tests share: read an element as one summary class, and the exact text
// one writes.
#ifndef CFMETA_SUMMARIES_CFSUMMARIES_TESTUTIL_H_
#define CFMETA_SUMMARIES_CFSUMMARIES_TESTUTIL_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace cfmeta_test {

// `xml` as the serialiser writes it, which settles attribute order and empty-element form.
inline std::string Canonical(const std::string& xml) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc = Parse(xml);
  return Serialise(CfExtension::CFXMLWrapper(doc->getElement()));
}

// The root element of `xml` read as a T.
template <typename T>
std::unique_ptr<T> ReadAs(const std::string& xml) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc = Parse(xml);
  return std::unique_ptr<T>(new T(*doc));
}

constexpr const char* kNothing = "(nothing)";

// The element `object` writes, or kNothing when it writes none; then the parent must be
// untouched.
template <typename T>
std::string Written(const T& object) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc = NewDocument();
  const std::string before = Serialise(*doc);
  CfExtension::CFXMLWrapper* created = nullptr;
  object.AddToTree(*doc, created);
  if (created == nullptr) {
    EXPECT_EQ(before, Serialise(*doc));
    return kNothing;
  }
  return Serialise(*created);
}

// Reads `xml` as a T that must parse and writes it again.
template <typename T>
std::string RoundTrip(const std::string& xml) {
  std::unique_ptr<T> read = ReadAs<T>(xml);
  EXPECT_TRUE(read->parseSuccess());
  return Written(*read);
}

// An object built in code that lacks one required piece unless `complete`; `written` builds it
// and returns what Written() gives for it.
struct HalfBuilt {
  const char* what;
  std::function<std::string(bool complete)> written;
};

// Each row writes nothing, leaving its parent as it was, while its piece is missing, and writes
// its element once the piece is given.
inline void ExpectWrittenOnlyWhenComplete(const std::vector<HalfBuilt>& rows) {
  for (const HalfBuilt& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(kNothing, row.written(false));
    EXPECT_NE(kNothing, row.written(true));
  }
}

}  // namespace cfmeta_test

#endif  // CFMETA_SUMMARIES_CFSUMMARIES_TESTUTIL_H_
