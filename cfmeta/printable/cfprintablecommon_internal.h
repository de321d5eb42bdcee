// The state and behaviour that the two list printables share; not installed.
#ifndef CFMETA_PRINTABLE_CFPRINTABLECOMMON_INTERNAL_H_
#define CFMETA_PRINTABLE_CFPRINTABLECOMMON_INTERNAL_H_

#include <unicode/fmtable.h>

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/printable/cfprintable.h"
#include "cfmeta/printable/cfuncconverter.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace cfprintable_internal {

// The element and attribute names of the printables.
extern const char* const kValueElement;
extern const char* const kListElement;
extern const char* const kVListElement;
extern const char* const kIsNullAttribute;
extern const char* const kLabelAttribute;
extern const char* const kPatternAttribute;
extern const char* const kIsKeyAttribute;
extern const char* const kMapIdAttribute;

// Deeper nesting than this is refused when reading, so that a hostile document cannot
// exhaust the stack.
constexpr int kMaxReadDepth = 256;

// Each kind's CreateFromElmt: a new `Kind` read from `element` when it is named
// `elementName`; null when it is not (`matched` false) or when reading throws (`matched`
// true).
template <typename Kind>
Kind* CreateIfNamed(const CfExtension::CFXMLWrapper& element, const char* elementName,
                    bool& matched) {
  std::string name;
  matched = element.getName(name) == 0 && name == elementName;
  if (!matched) return nullptr;
  try {
    return new Kind(element);
  } catch (const CFPrintable::FailExcp&) {
    return nullptr;
  }
}

}  // namespace cfprintable_internal

namespace CFPrintableUtil {

class CommonImpl {
 public:
  CommonImpl() = default;
  CommonImpl(const std::string& pattern, bool isKey, int mapId);
  // Reads the attributes, stopping quietly at the first bad one, then every child element
  // as an argument. Throws CFPrintable::FailExcp when a child cannot be read or the element
  // is nested deeper than kMaxReadDepth.
  CommonImpl(const CfExtension::CFXMLWrapper& element, int depth);
  // Deep: the arguments are cloned; the look-up and the resolved pattern are shared.
  CommonImpl(const CommonImpl& other);
  CommonImpl& operator=(const CommonImpl&) = delete;

  // The factory's order over the three kinds, for an element `depth` levels below the
  // outermost printable being read. Null with `matched` as the factory sets it; never throws.
  static CFPrintable* ReadPrintable(const CfExtension::CFXMLWrapper& element, int depth,
                                    bool& matched);

  // Forgets the resolved pattern.
  void SetPattern(const std::string& pattern, bool isKey, int mapId);
  // Clones of `list`, in order; an empty list when any entry is null.
  void SetList(const std::vector<const CFPrintable*>& list);
  void AppendToList(const CFPrintable& printable);
  // Forgets the resolved pattern and hands `lookUp` to every argument.
  void SetResLookUp(CFResLookUp* lookUp);

  // The pattern itself, or for a key the look-up's pattern, asked for once and then kept.
  // Empty for a key with no look-up.
  const std::string& GetPattern() const;
  size_t ArgumentCount() const { return m_arguments.size(); }
  // Each argument's rendered text as a string argument for a MessageFormat, in order.
  std::vector<icu::Formattable> RenderArguments() const;
  CFUncConverter& Converter() const { return m_converter; }

  // Writes `elementName` with the pattern, "isKey" and "mapId" when they say something, and
  // every argument as a child.
  void AddToTree(const char* elementName, CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const;

 private:
  std::vector<std::unique_ptr<CFPrintable>> m_arguments;
  std::string m_pattern;
  bool m_isKey = false;
  int m_mapId = 0;
  CFResLookUp* m_lookUp = nullptr;
  mutable std::string m_resolved;
  mutable CFUncConverter m_converter;

  void ReadArguments(const CfExtension::CFXMLWrapper& element, int depth);
};

}  // namespace CFPrintableUtil

#endif  // CFMETA_PRINTABLE_CFPRINTABLECOMMON_INTERNAL_H_
