// Helpers that the printable tests share.
#ifndef CFMETA_PRINTABLE_CFPRINTABLE_TESTUTIL_H_
#define CFMETA_PRINTABLE_CFPRINTABLE_TESTUTIL_H_

#include <memory>
#include <string>

#include "cfmeta/printable/cfprintable.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace cfmeta_test {

// The element `printable` writes under a fresh root, or "<none>" when it creates nothing.
inline std::string Written(const CFPrintable& printable) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc = NewDocument();
  CfExtension::CFXMLWrapper* created = nullptr;
  printable.AddToTree(*doc, created);
  return created == nullptr ? "<none>" : Serialise(*created);
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
