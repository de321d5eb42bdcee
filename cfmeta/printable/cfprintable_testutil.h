// Helpers that the printable tests share.
#ifndef CFMETA_PRINTABLE_CFPRINTABLE_TESTUTIL_H_
#define CFMETA_PRINTABLE_CFPRINTABLE_TESTUTIL_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "cfmeta/printable/cfprintable.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace cfmeta_test {

// The element `printable` writes under a fresh root, or "<none>" when it creates nothing; a
// write that creates nothing must leave the root as it was.
inline std::string Written(const CFPrintable& printable) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc = NewDocument();
  const std::string before = Serialise(*doc);
  CfExtension::CFXMLWrapper* created = reinterpret_cast<CfExtension::CFXMLWrapper*>(1);
  printable.AddToTree(*doc, created);
  if (created != nullptr) return Serialise(*created);
  EXPECT_EQ(before, Serialise(*doc));
  return "<none>";
}

// What the factory makes of `xml`; `matched` as it leaves it.
inline std::unique_ptr<CFPrintable> ReadPrintable(const std::string& xml, bool& matched) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc = Parse(xml);
  matched = false;
  if (doc->getElement() == nullptr) return nullptr;
  return std::unique_ptr<CFPrintable>(CFPrintable::CreateFromElmt(*doc, matched));
}

}  // namespace cfmeta_test

#endif  // CFMETA_PRINTABLE_CFPRINTABLE_TESTUTIL_H_
