#include "fuzz/cffuzz_checks.h"

#include <unicode/dcfmtsym.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>
#include <xercesc/dom/DOM.hpp>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/stats/cfsketches.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLConverter;
using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace xercesc = XERCES_CPP_NAMESPACE;

namespace cffuzz {
namespace {

// The parser reads up to the first NUL, as every caller's text ends there.
std::string TextOf(const uint8_t* data, size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

// --- Metadata round trip ---

std::string FieldNames(const CFMetaData& metadata) {
  std::string names;
  for (unsigned int i = 0; i < metadata.FieldCount(); ++i) {
    names += metadata.GetField(i)->GetName();
    names += '\n';
  }
  return names;
}

bool DeclaresXML11(const uint8_t* data, size_t size) {
  CFXMLWrapper doc;
  doc.loadFromContents(TextOf(data, size).c_str());
  if (doc.getDocument() == nullptr || doc.getDocument()->getXmlVersion() == nullptr) return false;
  return CFXMLConverter(doc.getDocument()->getXmlVersion()).str() == "1.1";
}

// --- XML wrapper ---

// Every typed reader on one attribute, checked against the text the string reader gives.
std::string CheckAttribute(const CFXMLWrapper& element, const std::string& name) {
  std::string text;
  bool found = false;
  if (element.getAttribute(name.c_str(), text, found) != 0 || !found) {
    return "a present attribute reads as absent: " + name;
  }
  int present = 0;
  if (element.hasAttribute(name.c_str(), &present) != 0 || present != 1) {
    return "hasAttribute misses a present attribute";
  }

  // The buffer form: too small by one leaves the buffer alone, exact size copies.
  size_t needed = 0;
  if (element.getAttribute(name.c_str(), nullptr, 0, &needed) != CfExtension::kXMLTooSmall ||
      needed != text.size() + 1) {
    return "buffer reader reports the wrong size";
  }
  std::vector<char> buffer(needed, '#');
  if (element.getAttribute(name.c_str(), buffer.data(), needed - 1, &needed) !=
          CfExtension::kXMLTooSmall ||
      std::count(buffer.begin(), buffer.end(), '#') != static_cast<long>(buffer.size())) {
    return "a buffer one byte short is written to";
  }
  if (element.getAttribute(name.c_str(), buffer.data(), needed, &needed) != 0 ||
      std::memcmp(buffer.data(), text.c_str(), needed) != 0) {
    return "buffer reader differs from the string reader";
  }

  long long wide = 0;
  bool wideFound = true;
  const int wideRc = element.getAttribute(name.c_str(), wide, wideFound);
  long long parsed = 0;
  const bool parses = CFXMLWrapper::ParseLongLong(text, parsed);
  if (wideRc == 0) {
    if (!wideFound || !parses || parsed != wide) return "long long reader disagrees with parser";
  } else if (wideRc != CfExtension::kXMLBadArgument || wideFound || wide != 0 || parses) {
    return "long long reader fails without the documented state";
  }

  int narrow = 0;
  bool narrowFound = true;
  const int narrowRc = element.getAttribute(name.c_str(), narrow, narrowFound);
  if (narrowRc == 0 && !narrowFound) return "int reader succeeds without finding";
  if (narrowRc != 0 && (narrowRc != CfExtension::kXMLBadArgument || narrowFound || narrow != 0)) {
    return "int reader fails without the documented state";
  }
  if (narrowRc == 0 && wideRc == 0 && wide >= std::numeric_limits<int>::min() &&
      wide <= std::numeric_limits<int>::max() && wide != narrow) {
    return "int and long long readers read different numbers";
  }

  double real = 1.0;
  bool realFound = false;
  int kind = 7;
  const int realRc = element.getAttribute(name.c_str(), real, realFound, kind);
  double again = 0;
  int againKind = 7;
  const bool realParses = CFXMLWrapper::ParseDouble(text, again, againKind);
  if (realRc == 0) {
    if (!realFound || kind < 0 || kind > 3 || !realParses || kind != againKind) {
      return "double reader gives a bad kind";
    }
    if (kind != 0 && real != 0) return "a special double leaves a value";
    if (kind == 0 && (!std::isfinite(real) || std::memcmp(&real, &again, sizeof real) != 0)) {
      return "double reader disagrees with parser";
    }
  } else if (realRc != CfExtension::kXMLBadArgument || realFound || kind != -1 || realParses) {
    return "double reader fails without the documented state";
  }
  return "";
}

// Subtree iterators are checked for this many distinct element names.
constexpr size_t kNamesWalked = 8;

// The node after `node` in document order within `root`'s subtree, or null. Iterative: a
// document may nest deeper than the stack allows.
const xercesc::DOMNode* NextInTree(const xercesc::DOMNode* root, const xercesc::DOMNode* node) {
  if (node->getFirstChild() != nullptr) return node->getFirstChild();
  while (node != root && node->getNextSibling() == nullptr) node = node->getParentNode();
  return node == root ? nullptr : node->getNextSibling();
}

// Children (or, when `deep`, all descendants) of `root` of the given type and, when `name` is
// not empty, name.
size_t CountChildren(const xercesc::DOMNode* root, xercesc::DOMNode::NodeType type,
                     const std::string& name, bool deep) {
  size_t count = 0;
  const xercesc::DOMNode* node = root->getFirstChild();
  while (node != nullptr) {
    if (node->getNodeType() == type &&
        (name.empty() || CFXMLConverter(node->getNodeName()).str() == name)) {
      ++count;
    }
    node = deep ? NextInTree(root, node) : node->getNextSibling();
  }
  return count;
}

size_t CountItems(CFXMLIteratorWrapper* it) {
  size_t count = 0;
  void* item = nullptr;
  while (it->nextItem(&item) == 0) {
    if (item == nullptr) return std::numeric_limits<size_t>::max();
    ++count;
  }
  return item == nullptr ? count : std::numeric_limits<size_t>::max();
}

// Attributes and direct children of one element; the whole tree is visited by the caller's
// subtree iterator, so nothing here recurses.
std::string CheckElement(const CFXMLWrapper& element) {
  std::string name;
  if (element.getName(name) != 0 || name.empty()) return "an element has no name";
  size_t needed = 0;
  if (element.getName(nullptr, 0, &needed) != CfExtension::kXMLTooSmall ||
      needed != name.size() + 1) {
    return "getName reports the wrong size";
  }

  const xercesc::DOMNamedNodeMap* attributes = element.getElement()->getAttributes();
  for (XMLSize_t i = 0; attributes != nullptr && i < attributes->getLength(); ++i) {
    const std::string attributeName = CFXMLConverter(attributes->item(i)->getNodeName()).str();
    std::string broken = CheckAttribute(element, attributeName);
    if (!broken.empty()) return broken;
  }

  CFXMLIteratorWrapper* it = nullptr;
  const xercesc::DOMNode* node = element.getElement();
  if (element.getElementDirectIterator("", &it) != 0 ||
      CountItems(it) != CountChildren(node, xercesc::DOMNode::ELEMENT_NODE, "", false)) {
    return "direct iterator misses children";
  }
  if (element.getTextIterator(&it) != 0 ||
      CountItems(it) != CountChildren(node, xercesc::DOMNode::TEXT_NODE, "", false)) {
    return "text iterator misses text";
  }
  element.releaseHandedOut();
  return "";
}

// --- Number format ---

// Attribute slots in the order the input gives their texts.
const char* const kFormatAttributes[] = {XMLAttributes::Name,          XMLAttributes::Width,
                                         XMLAttributes::Alignment,     XMLAttributes::FormatType,
                                         XMLAttributes::DecimalPlaces, XMLAttributes::DecimalSymbol,
                                         XMLAttributes::GroupingSymbol};

// A slot holding only this byte leaves its attribute out.
constexpr char kAbsent = '\x7f';

// Widths beyond this are not rendered: a text is as wide as its format says, so a few bytes of
// input can ask for gigabytes, which is the rule and not a fault.
constexpr int kMaxRenderWidth = 1 << 16;

// The most decimals a scientific text carries; a format asking for more renders nothing.
constexpr unsigned int kMaxScientificDecimals = 999;

// The width of a text in characters.
size_t Characters(const std::string& text) {
  return static_cast<size_t>(icu::UnicodeString::fromUTF8(text).countChar32());
}

std::string SameFormat(const CFNumberFormat& a, const CFNumberFormat& b) {
  CFFormat::DecimalSymbol aDec, bDec;
  CFFormat::GroupingSymbol aGrp, bGrp;
  a.GetSeparators(aDec, aGrp);
  b.GetSeparators(bDec, bGrp);
  if (a.GetWidth() != b.GetWidth() || a.GetName() != b.GetName() ||
      a.GetAlignment() != b.GetAlignment() || a.GetFormatType() != b.GetFormatType() ||
      a.GetDecimals() != b.GetDecimals() || aDec != bDec || aGrp != bGrp) {
    return "a number format changes through a write and a read";
  }
  return "";
}

// How many characters the default locale's symbols add beyond one character each, for the
// formats that use them: the width grows by that much.
size_t LocalGrowth(const CFNumberFormat& format, size_t width) {
  CFFormat::DecimalSymbol dec;
  CFFormat::GroupingSymbol grp;
  format.GetSeparators(dec, grp);
  UErrorCode status = U_ZERO_ERROR;
  icu::DecimalFormatSymbols symbols(icu::Locale::getDefault(), status);
  if (U_FAILURE(status)) return 0;
  auto extra = [&](icu::DecimalFormatSymbols::ENumberFormatSymbol which) -> size_t {
    const int32_t length = symbols.getSymbol(which).countChar32();
    return length > 1 ? static_cast<size_t>(length - 1) : 0;
  };
  size_t growth = 0;
  if (dec == CFFormat::DecimalSymbol::Local) {
    growth += extra(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol);
  }
  if (grp == CFFormat::GroupingSymbol::Local) {
    // At most one separator for every digit.
    growth += width * extra(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol);
  }
  return growth;
}

// One digit, the decimal symbol and exactly `decimals` digits, "E", a sign and at least three
// digits; the digit is not 0 unless the value is.
std::string CheckScientificShape(const std::string& text, unsigned int decimals, double value) {
  size_t at = text[0] == '-' ? 1 : 0;
  if (at >= text.size() || !std::isdigit(static_cast<unsigned char>(text[at]))) {
    return "a scientific text does not start with a digit: " + text;
  }
  if (text[at] == '0' && value != 0) return "a scientific text loses its value: " + text;
  ++at;
  if (decimals > 0) {
    while (at < text.size() && !std::isdigit(static_cast<unsigned char>(text[at])) &&
           text[at] != 'E') {
      ++at;  // the decimal symbol, one or more bytes
    }
    const size_t digits = text.find('E', at);
    if (digits == std::string::npos || digits - at != decimals) {
      return "a scientific text has the wrong number of decimals: " + text;
    }
    at = digits;
  }
  if (text.compare(at, 1, "E") != 0 || at + 1 >= text.size() ||
      (text[at + 1] != '+' && text[at + 1] != '-') || text.size() - at - 2 < 3) {
    return "a scientific text has no signed three-digit exponent: " + text;
  }
  return "";
}

std::string CheckRendering(const CFNumberFormat& format, const CFDatum& value) {
  std::string out;
  const int rc = format.Format(value, CFFormat::NoUnits, out);
  if (format.GetWidth() == 0) {
    return rc == 1 && out.empty() ? "" : "an empty format renders a number";
  }
  const bool scientific = format.GetFormatType() == CFNumberFormat::Scientific;
  if (scientific && format.GetDecimals() > kMaxScientificDecimals) {
    return rc == 1 && out.empty() ? "" : "a scientific text carries too many decimals";
  }
  if (rc != 0) return "a number does not render: " + std::to_string(rc);
  const size_t length = Characters(out);
  const size_t leading = out.find_first_not_of(' ');
  if (scientific) {
    // Padded on the left to the width, never cut: only a longer text may exceed it.
    const size_t width = format.GetWidth() > 0 ? static_cast<size_t>(format.GetWidth()) : 0;
    if (leading == std::string::npos) return "a scientific text is blank";
    if (leading > 0 && length != width) return "a scientific text is padded beyond its width";
    if (length < width) return "a scientific text is narrower than its width";
    const double number =
        value.GetType() == CFDatum::Real ? value.GetReal() : static_cast<double>(value.GetInt());
    if (!std::isfinite(number)) return "";
    return CheckScientificShape(out.substr(leading), format.GetDecimals(), number);
  }
  if (out == "*") return "";
  // A free width renders in 23 characters and trims them.
  const size_t width = format.GetWidth() > 0 ? static_cast<size_t>(format.GetWidth()) : 23;
  const size_t allowed = width + LocalGrowth(format, width);
  if (length > allowed) return "a text is wider than its width: [" + out + "]";
  if (format.GetWidth() > 0 && length < width) return "a text is narrower than its width";
  if (format.GetWidth() < 0 && (out.empty() || out.front() == ' ' || out.back() == ' ')) {
    return "a free-width text is not trimmed";
  }
  return "";
}

}  // namespace

std::string CheckMetadataRoundTrip(const uint8_t* data, size_t size) {
  const CFMetaData first(TextOf(data, size), nullptr, nullptr);
  const CFLoadError& why = first.GetLoadError();
  if (why.kind != CFLoadError::NoError) {
    if (first.FieldCount() != 0) return "a document that loaded reports a failure";
    if (why.message.empty()) return "a failed load gives no reason";
    if (why.kind != CFLoadError::MalformedXML && (why.path.empty() || why.path[0] != '/')) {
      return "a failed load names no element: " + why.message;
    }
  }
  std::string exported = "unchanged";
  const bool wrote = first.ExportXMLDoc(exported);
  if (first.FieldCount() == 0) {
    if (wrote || exported != "unchanged") return "metadata without fields exports something";
    return "";
  }
  // Only an XML 1.1 document can hold a control character, which no exported (XML 1.0)
  // document can carry; every other loaded document exports.
  if (!wrote) return DeclaresXML11(data, size) ? "" : "loaded metadata does not export";

  const CFMetaData second(exported, nullptr);
  if (second.FieldCount() != first.FieldCount()) {
    return "reload gives " + std::to_string(second.FieldCount()) + " fields, not " +
           std::to_string(first.FieldCount()) + "; export:\n" + exported;
  }
  if (FieldNames(second) != FieldNames(first)) return "reload renames fields; export:\n" + exported;
  if (second.SharedFormatCount() != first.SharedFormatCount()) {
    return "reload changes the shared formats";
  }
  std::string again;
  if (!second.ExportXMLDoc(again) || again != exported) {
    return "a second export differs:\n" + exported + "\n" + again;
  }
  return "";
}

std::string CheckXMLWrapper(const uint8_t* data, size_t size) {
  CFXMLWrapper doc;
  doc.loadFromContents(TextOf(data, size).c_str());
  if (doc.getElement() == nullptr) {
    return doc.getLastError().empty() ? "a failed load gives no reason" : "";
  }
  // Every element, the root first, then in document order; and for the first few element
  // names, the subtree iterator against the elements of that name below the root.
  const xercesc::DOMNode* root = doc.getElement();
  std::vector<std::string> names;
  for (const xercesc::DOMNode* node = root; node != nullptr; node = NextInTree(root, node)) {
    if (node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) continue;
    CFXMLWrapper element(static_cast<xercesc::DOMElement*>(const_cast<xercesc::DOMNode*>(node)));
    std::string broken = CheckElement(element);
    if (!broken.empty()) return broken;
    std::string name;
    element.getName(name);
    if (names.size() < kNamesWalked && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
    }
  }
  for (const std::string& name : names) {
    CFXMLIteratorWrapper* it = nullptr;
    if (doc.getElementIterator(name.c_str(), &it) != 0 ||
        CountItems(it) != CountChildren(root, xercesc::DOMNode::ELEMENT_NODE, name, true)) {
      return "subtree iterator misses elements named " + name;
    }
  }
  doc.releaseHandedOut();

  // What is written reads back as the same document.
  std::string text;
  doc.doc2string(text);
  CFXMLWrapper reread;
  reread.loadFromContents(text.c_str());
  std::string again;
  if (reread.getElement() == nullptr) return "a written document does not parse:\n" + text;
  reread.doc2string(again);
  // A tab or carriage return in a comment, CDATA section or processing instruction is written
  // as its character reference, which reads back as that text: the text stays, but the NUL
  // that ends an escaped text goes with the last real tab or carriage return.
  if (!again.empty() && again.back() == '\0') again.pop_back();
  if (!text.empty() && text.back() == '\0') text.pop_back();
  if (again != text) return "a written document changes when read again";

  // Deleting each direct child right after it is handed out visits them all and leaves none.
  const size_t children = CountChildren(root, xercesc::DOMNode::ELEMENT_NODE, "", false);
  CFXMLIteratorWrapper* remover = nullptr;
  doc.getElementDirectIterator("", &remover);
  size_t removed = 0;
  while (remover->nextElement() != nullptr) {
    if (remover->deleteItem() != 0) return "deleteItem fails after nextItem";
    ++removed;
  }
  if (removed != children || CountChildren(root, xercesc::DOMNode::ELEMENT_NODE, "", false) != 0) {
    return "deleting while iterating misses children";
  }
  return "";
}

std::string CheckNumberFormat(const uint8_t* data, size_t size) {
  double real = 0;
  long long whole = 0;
  if (size < sizeof real + sizeof whole) return "";
  std::memcpy(&real, data, sizeof real);
  std::memcpy(&whole, data + sizeof real, sizeof whole);
  const std::string rest = TextOf(data + 16, size - 16);

  CFXMLWrapper doc;
  doc.createNew(XMLElements::NumberFormat);
  size_t start = 0;
  for (const char* attribute : kFormatAttributes) {
    if (start > rest.size()) break;
    size_t end = rest.find('\0', start);
    if (end == std::string::npos) end = rest.size();
    const std::string value = rest.substr(start, end - start);
    start = end + 1;
    if (value.size() == 1 && value[0] == kAbsent) continue;
    if (doc.addAttribute(attribute, value.c_str()) != 0) return "an attribute cannot be set";
  }

  const CFNumberFormat format(doc);
  CFXMLWrapper written;
  written.createNew(XMLElements::DataModel);
  CFXMLWrapper* created = nullptr;
  format.AddToTree(written, created);
  if ((created == nullptr) != (format.GetWidth() == 0)) {
    return "a number format writes when empty or fails to write";
  }
  if (created != nullptr) {
    std::string broken = SameFormat(format, CFNumberFormat(*created));
    if (!broken.empty()) return broken;
  }

  if (std::abs(format.GetWidth()) > kMaxRenderWidth) return "";
  std::string out;
  if (format.Format(CFDatum(), CFFormat::NoUnits, out) != 0 || out != ".") {
    return "a null datum does not render as a period";
  }
  std::string broken = CheckRendering(format, CFDatum(real));
  if (broken.empty()) broken = CheckRendering(format, CFDatum(whole));
  return broken;
}

namespace {

// Adds the stream `bytes` to `sketch`: values are the pieces between NUL bytes, read as
// numbers by `Number` sketches, with a weight of the piece's length modulo 4.
template <typename Sketch, typename AddPiece>
void AddPieces(const std::string& bytes, Sketch& sketch, AddPiece add) {
  size_t start = 0;
  while (start <= bytes.size()) {
    size_t end = bytes.find('\0', start);
    if (end == std::string::npos) end = bytes.size();
    add(sketch, std::string_view(bytes).substr(start, end - start), (end - start) % 4);
    start = end + 1;
  }
}

template <typename Sketch, typename Count, typename AddPiece>
std::string CheckSketch(const std::string& bytes, Count count, AddPiece add) {
  Sketch sketch;
  if (Sketch::Deserialize(bytes.data(), bytes.size(), sketch) != 0) {
    AddPieces(bytes, sketch, add);
  }
  const std::string written = sketch.Serialize();
  Sketch reread;
  if (Sketch::Deserialize(written.data(), written.size(), reread) != 0) {
    return "a sketch's own bytes are refused";
  }
  if (reread.Serialize() != written) return "a sketch does not read back to its own bytes";
  const uint64_t before = count(sketch);
  sketch.Merge(sketch);
  if (before <= UINT64_MAX / 2 && count(sketch) != 2 * before) {
    return "merging a sketch into itself does not double its count";
  }
  return "";
}

}  // namespace

std::string CheckSketches(const uint8_t* data, size_t size) {
  if (size == 0) return "";
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  auto total = [](const auto& sketch) { return sketch.Count(); };
  switch (data[0] % 4) {
    case 0:
      return CheckSketch<CFQuantileSketch>(
          bytes, total, [](CFQuantileSketch& sketch, std::string_view piece, uint64_t weight) {
            double value = 0;
            if (piece.size() >= sizeof value) std::memcpy(&value, piece.data(), sizeof value);
            sketch.Add(value, weight);
          });
    case 1:
      return CheckSketch<CFStringQuantileSketch>(
          bytes, total,
          [](CFStringQuantileSketch& sketch, std::string_view piece, uint64_t weight) {
            sketch.Add(piece, weight);
          });
    case 2:
      return CheckSketch<CFDistinctCount>(
          bytes, [](const CFDistinctCount&) { return uint64_t{0}; },
          [](CFDistinctCount& sketch, std::string_view piece, uint64_t) { sketch.Add(piece); });
    default:
      return CheckSketch<CFHeavyHitters>(
          bytes, total, [](CFHeavyHitters& sketch, std::string_view piece, uint64_t weight) {
            sketch.Add(piece, weight);
          });
  }
}

}  // namespace cffuzz
