// A small attribute reader: one element's name and attributes, read by the second readers of
// model fields, fields' data values and continuous statistics.
//
// It copies what it reads, so it stays valid after the document it came from is gone.
#ifndef CFMETA_VOCAB_XMLELEMENT_H_
#define CFMETA_VOCAB_XMLELEMENT_H_

#include <string>
#include <utility>
#include <vector>

#include "cfmeta/cfmeta_export.h"

namespace CfExtension {
class CFXMLWrapper;
}

namespace CfCppHelperV1 {

class CFMETA_API XMLElement {
 public:
  XMLElement() = default;
  explicit XMLElement(std::string name) : m_name(std::move(name)) {}
  // Takes the element's name and every attribute; an empty element when the wrapper has none.
  explicit XMLElement(const CfExtension::CFXMLWrapper& element);

  const std::string& getName() const { return m_name; }
  // Adds or replaces an attribute.
  void setAttribute(const std::string& name, const std::string& value);

  bool hasAttribute(const std::string& name) const;
  // False when absent; `value` is then empty.
  bool getAttribute(const std::string& name, std::string& value) const;
  // False when absent or not a number; `value` is then 0. "INF", "-INF" and "NaN" read as
  // such, so callers that need a finite number test for one.
  bool getAttribute(const std::string& name, double& value) const;
  // False when absent or not a whole 64-bit integer; `value` is then 0.
  bool getAttribute(const std::string& name, long long& value) const;

 private:
  std::string m_name;
  std::vector<std::pair<std::string, std::string>> m_attributes;

  const std::string* Find(const std::string& name) const;
};

}  // namespace CfCppHelperV1

#endif  // CFMETA_VOCAB_XMLELEMENT_H_
