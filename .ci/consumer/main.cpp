// A program outside the tree that uses the installed library: parse, read, write, serialise.
#include <cstdio>
#include <string>

#include "cfmeta/cfmeta.h"

int main() {
  using CfExtension::CFXMLWrapper;
  CFXMLWrapper::startup(false);
  int failures = 0;
  {
    CFXMLWrapper doc;
    doc.loadFromContents("<Root a=\"1.5\"/>");
    double value = 0;
    bool found = false;
    int kind = -1;
    if (doc.getElement() == nullptr || doc.getAttribute("a", value, found, kind) != 0 ||
        !found || value != 1.5) {
      ++failures;
    }
    CFDatum datum("text", false);
    std::string out;
    if (!datum.ToString(out, 0) || out != "text") ++failures;
    doc.addAttribute(CfCppHelperV1::XMLAttributes::Name, out.c_str());
    std::string xml;
    doc.doc2string(xml);
    std::printf("%s\n", xml.c_str());
  }
  CFXMLWrapper::shutdown(false);
  std::printf(failures == 0 ? "consumer: ok\n" : "consumer: FAILED\n");
  return failures == 0 ? 0 : 1;
}
