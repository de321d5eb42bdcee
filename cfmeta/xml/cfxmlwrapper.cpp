#include "cfmeta/xml/cfxmlwrapper.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <utility>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "cfmeta/xml/cfxmliteratorwrapper.h"

XERCES_CPP_NAMESPACE_USE

namespace CfExtension {

namespace {

XMLTranscoder* gTranscoder = nullptr;

// Entity expansions allowed in one document before the parse fails: enough for any real
// metadata document, far too few for an exponential expansion.
constexpr XMLSize_t kEntityExpansionLimit = 10000;
// The longest text an entity may declare. With the expansion limit it bounds what references
// can add to a document (a long entity used many times grows a small text into gigabytes).
constexpr XMLSize_t kEntityValueLimit = 1024;

// Thrown out of the parse when a declaration breaks kEntityValueLimit.
struct EntityTooLong {};

// handleTabAndCR, leaving the bytes in [keepFrom, keepTo) as they are.
void EscapeTabAndCR(std::string& text, size_t keepFrom, size_t keepTo) {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if ((text[i] == '\t' || text[i] == '\r') && (i < keepFrom || i >= keepTo)) ++count;
  }
  if (count == 0) return;
  std::string escaped;
  escaped.reserve(text.size() + 4 * count + 1);
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (i >= keepFrom && i < keepTo) {
      escaped.push_back(c);
    } else if (c == '\t') {
      escaped += "&#x9;";
    } else if (c == '\r') {
      escaped += "&#xD;";
    } else {
      escaped.push_back(c);
    }
  }
  // The escaped text keeps one trailing NUL inside its length; readers of the buffer form
  // receive it too.
  escaped.push_back('\0');
  text.swap(escaped);
}

// The position just past the construct that starts at `at` and that the serialiser writes as
// it was read: a comment, CDATA section, processing instruction or document type declaration
// (with its internal subset). `at` itself when no such construct starts there.
size_t SkipVerbatim(const std::string& text, size_t at) {
  auto past = [&text](size_t from, const char* end) {
    const size_t found = text.find(end, from);
    return found == std::string::npos ? text.size() : found + std::strlen(end);
  };
  if (text.compare(at, 4, "<!--") == 0) return past(at + 4, "-->");
  if (text.compare(at, 9, "<![CDATA[") == 0) return past(at + 9, "]]>");
  if (text.compare(at, 2, "<?") == 0) return past(at + 2, "?>");
  if (text.compare(at, 9, "<!DOCTYPE") != 0) return at;
  // Quoted literals may hold any of "[]<>"; inside the subset, comments and processing
  // instructions may too.
  bool inSubset = false;
  size_t i = at + 9;
  while (i < text.size()) {
    const char c = text[i];
    if (c == '"' || c == '\'') {
      i = past(i + 1, c == '"' ? "\"" : "'");
    } else if (inSubset && c == '<') {
      const size_t skipped = SkipVerbatim(text, i);
      i = skipped == i ? i + 1 : skipped;
    } else if (c == '[' && !inSubset) {
      inSubset = true;
      ++i;
    } else if (c == ']' && inSubset) {
      inSubset = false;
      ++i;
    } else if (c == '>' && !inSubset) {
      return i + 1;
    } else {
      ++i;
    }
  }
  return text.size();
}

// Whether the serialiser wrote one of the document's tabs or carriage returns as a character
// reference. It writes such references only in markup and character data, where a literal
// "&#x9;" of the document is written "&amp;#x9;"; in the verbatim constructs it is just text.
bool HoldsEscapedTabOrCR(const std::string& text) {
  size_t i = 0;
  while (i < text.size()) {
    const size_t next = text.find_first_of("&<", i);
    if (next == std::string::npos) return false;
    if (text[next] == '&') {
      if (text.compare(next, 5, "&#x9;") == 0 || text.compare(next, 5, "&#xD;") == 0) return true;
      i = next + 1;
    } else {
      const size_t skipped = SkipVerbatim(text, next);
      i = skipped == next ? next + 1 : skipped;
    }
  }
  return false;
}

// Where the serialised `text` of `document` holds its DTD's internal subset, which the
// serialiser writes as it was read; [0, 0) when there is none.
std::pair<size_t, size_t> InternalSubsetIn(const std::string& text, const DOMDocument* document) {
  const DOMDocumentType* type = document != nullptr ? document->getDoctype() : nullptr;
  if (type == nullptr || type->getInternalSubset() == nullptr) return {0, 0};
  const std::string subset = "[" + CFXMLConverter(type->getInternalSubset()).str() + "]";
  const size_t doctype = text.find("<!DOCTYPE");
  const size_t at = doctype == std::string::npos ? doctype : text.find(subset, doctype);
  if (at == std::string::npos) return {0, 0};
  return {at, at + subset.size()};
}

class BoundedDOMParser : public XercesDOMParser {
 public:
  void entityDecl(const DTDEntityDecl& decl, const bool isPEDecl, const bool isIgnored) override {
    if (decl.getValueLen() > kEntityValueLimit) throw EntityTooLong();
    XercesDOMParser::entityDecl(decl, isPEDecl, isIgnored);
  }
};

// Every external entity, DTD or other resource resolves to nothing: a document never makes
// the parser read a file or reach the network.
class NoExternalResolver : public XMLEntityResolver {
 public:
  InputSource* resolveEntity(XMLResourceIdentifier* /*id*/) override {
    static const XMLByte kEmpty[] = {0};
    return new MemBufInputSource(kEmpty, 0, "empty", false);
  }
};

// Keeps the first fatal error of a parse with its position, and makes the parser stop there.
class ParseErrorKeeper : public ErrorHandler {
 public:
  void warning(const SAXParseException&) override {}
  void error(const SAXParseException&) override {}
  void fatalError(const SAXParseException& e) override {
    if (m_message.empty()) {
      m_message = CFXMLConverter(e.getMessage()).str();
      m_line = static_cast<int>(e.getLineNumber());
      m_column = static_cast<int>(e.getColumnNumber());
    }
    throw e;
  }
  void resetErrors() override {
    m_message.clear();
    m_line = m_column = 0;
  }
  const std::string& message() const { return m_message; }
  int line() const { return m_line; }
  int column() const { return m_column; }

 private:
  std::string m_message;
  int m_line = 0;
  int m_column = 0;
};

// A name as a zero-terminated 16-bit text, without heap traffic for the usual short ASCII names.
class Name16 {
 public:
  explicit Name16(const char* name) {
    size_t n = name != nullptr ? std::strlen(name) : 0;
    bool ascii = n < sizeof(m_small) / sizeof(m_small[0]);
    for (size_t i = 0; ascii && i < n; ++i) ascii = static_cast<unsigned char>(name[i]) < 0x80;
    if (ascii) {
      for (size_t i = 0; i < n; ++i) m_small[i] = static_cast<XMLCh>(name[i]);
      m_small[n] = 0;
      m_text = m_small;
    } else {
      CFXMLConverter::ToUTF16(name != nullptr ? name : "", n, m_large);
      m_text = m_large.c_str();
    }
  }
  operator const XMLCh*() const { return m_text; }

 private:
  XMLCh m_small[64];
  std::u16string m_large;
  const XMLCh* m_text;
};

constexpr char32_t kReplacement = 0xFFFD;

void AppendUTF8(char32_t c, std::string& out) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

bool IsXMLSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Removes the white space that XML Schema's collapse rule ignores around a number.
std::string Collapse(const std::string& text) {
  size_t b = 0, e = text.size();
  while (b < e && IsXMLSpace(text[b])) ++b;
  while (e > b && IsXMLSpace(text[e - 1])) --e;
  return text.substr(b, e - b);
}

// An XML Schema decimal or double lexical form: sign, digits with an optional point, and for
// doubles an optional exponent.
bool IsSchemaNumber(const std::string& t, bool allowExponent) {
  size_t i = 0, n = t.size();
  if (i < n && (t[i] == '+' || t[i] == '-')) ++i;
  size_t digits = 0;
  while (i < n && t[i] >= '0' && t[i] <= '9') ++i, ++digits;
  if (i < n && t[i] == '.') {
    ++i;
    while (i < n && t[i] >= '0' && t[i] <= '9') ++i, ++digits;
  }
  if (digits == 0) return false;
  if (allowExponent && i < n && (t[i] == 'e' || t[i] == 'E')) {
    ++i;
    if (i < n && (t[i] == '+' || t[i] == '-')) ++i;
    size_t expDigits = 0;
    while (i < n && t[i] >= '0' && t[i] <= '9') ++i, ++expDigits;
    if (expDigits == 0) return false;
  }
  return i == n;
}

// Where the leading digit of a valid schema number sits: positive means the number is at
// least 1 in magnitude. Decides overflow from underflow without a locale-bound parse.
long long DecimalMagnitude(const std::string& t) {
  size_t i = 0, n = t.size();
  if (i < n && (t[i] == '+' || t[i] == '-')) ++i;
  long long magnitude = 0;
  bool seen = false;
  for (; i < n && t[i] >= '0' && t[i] <= '9'; ++i) {
    if (t[i] != '0') seen = true;
    if (seen) ++magnitude;
  }
  if (i < n && t[i] == '.') {
    for (++i; i < n && t[i] >= '0' && t[i] <= '9'; ++i) {
      if (seen) continue;
      if (t[i] != '0') {
        seen = true;
      } else {
        --magnitude;
      }
    }
  }
  if (i < n && (t[i] == 'e' || t[i] == 'E')) {
    long long exponent = 0;
    bool negative = t[i + 1] == '-';
    for (++i; i < n; ++i) {
      if (t[i] >= '0' && t[i] <= '9' && exponent < 1000000000)
        exponent = exponent * 10 + (t[i] - '0');
    }
    magnitude += negative ? -exponent : exponent;
  }
  return magnitude;
}

// Copies `text` into a caller's buffer under the size rule shared by every buffer getter.
int CopyOut(const std::string& text, char* buf, size_t capacity, size_t* needed) {
  size_t need = text.size() + 1;
  if (needed != nullptr) *needed = need;
  if (buf == nullptr || need > capacity) return kXMLTooSmall;
  std::memcpy(buf, text.data(), text.size());
  buf[text.size()] = '\0';
  return kXMLOk;
}

// Hands a serializer or output description back to Xerces.
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};

bool IsElement(const DOMNode* node) {
  return node != nullptr && node->getNodeType() == DOMNode::ELEMENT_NODE;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// CFXMLConverter

CFXMLConverter::CFXMLConverter(const char* utf8) : m_utf8(utf8 != nullptr ? utf8 : "") {
  std::u16string wide;
  ToUTF16(m_utf8.data(), m_utf8.size(), wide);
  m_utf16.reset(new XMLCh[wide.size() + 1]);
  std::memcpy(m_utf16.get(), wide.c_str(), (wide.size() + 1) * sizeof(XMLCh));
}

CFXMLConverter::CFXMLConverter(const std::string& utf8) : CFXMLConverter(utf8.c_str()) {}

CFXMLConverter::CFXMLConverter(const XMLCh* utf16) {
  ToUTF8(utf16, m_utf8);
  size_t n = 0;
  while (utf16 != nullptr && utf16[n] != 0) ++n;
  m_utf16.reset(new XMLCh[n + 1]);
  if (n != 0) std::memcpy(m_utf16.get(), utf16, n * sizeof(XMLCh));
  m_utf16[n] = 0;
}

CFXMLConverter::~CFXMLConverter() = default;

void CFXMLConverter::setTranscoder(XMLTranscoder* transcoder) { gTranscoder = transcoder; }

XMLTranscoder* CFXMLConverter::getTranscoder() { return gTranscoder; }

void CFXMLConverter::ToUTF8(const XMLCh* text, size_t count, std::string& out) {
  out.clear();
  if (text == nullptr) return;
  out.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    char32_t c = text[i];
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
      continue;
    }
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (i + 1 < count && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
        ++i;
      } else {
        c = kReplacement;
      }
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      c = kReplacement;
    }
    AppendUTF8(c, out);
  }
}

void CFXMLConverter::ToUTF8(const XMLCh* text, std::string& out) {
  size_t n = 0;
  while (text != nullptr && text[n] != 0) ++n;
  ToUTF8(text, n, out);
}

void CFXMLConverter::ToUTF16(const char* text, size_t length, std::u16string& out) {
  out.clear();
  if (text == nullptr) return;
  out.reserve(length);
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  size_t i = 0;
  while (i < length) {
    unsigned char b = s[i];
    if (b < 0x80) {
      out.push_back(b);
      ++i;
      continue;
    }
    int extra = b >= 0xF0 && b <= 0xF4 ? 3 : b >= 0xE0 ? 2 : b >= 0xC2 && b < 0xE0 ? 1 : -1;
    if (b > 0xF4) extra = -1;
    char32_t c = extra == 3 ? (b & 0x07) : extra == 2 ? (b & 0x0F) : (b & 0x1F);
    bool ok = extra > 0;
    for (int k = 1; ok && k <= extra; ++k) {
      if (i + k >= length || (s[i + k] & 0xC0) != 0x80) {
        ok = false;
        break;
      }
      c = (c << 6) | (s[i + k] & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    if (ok && ((extra == 2 && c < 0x800) || (extra == 3 && (c < 0x10000 || c > 0x10FFFF)) ||
               (c >= 0xD800 && c <= 0xDFFF))) {
      ok = false;
    }
    if (!ok) {
      out.push_back(static_cast<char16_t>(kReplacement));
      ++i;
      continue;
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
    i += extra + 1;
  }
}

// ---------------------------------------------------------------------------------------------
// CFXMLWrapper: life cycle

CFXMLWrapper::CFXMLWrapper() : m_messages(&std::cout) {}

CFXMLWrapper::CFXMLWrapper(DOMElement* element) : m_element(element), m_messages(&std::cout) {}

void CFXMLWrapper::Say(const std::string& text) const {
  if (m_messages != nullptr) *m_messages << text << std::endl;
}

void CFXMLWrapper::SetError(const std::string& message, int line, int column) {
  m_errorMessage = message;
  m_errorLine = line;
  m_errorColumn = column;
  m_lastError = line > 0 ? "line " + std::to_string(line) + ", column " + std::to_string(column) +
                               ": " + message
                         : message;
}

CFXMLWrapper::~CFXMLWrapper() {
  dispose();
  // Iterators and children point into the document, but destroying them touches no node.
  m_iterators.clear();
  m_children.clear();
  for (CFXML* handle : m_handles) std::free(handle);
}

void CFXMLWrapper::startup(bool alreadyInitialised) {
  if (!alreadyInitialised) XMLPlatformUtils::Initialize();
  if (gTranscoder == nullptr) {
    XMLTransService::Codes code = XMLTransService::Ok;
    gTranscoder = XMLPlatformUtils::fgTransService->makeNewTranscoderFor("UTF8", code, 256);
  }
}

void CFXMLWrapper::shutdown(bool keepPlatform) {
  // The transcoder belongs to the platform's memory; it cannot outlive a termination.
  if (!keepPlatform) {
    delete gTranscoder;
    gTranscoder = nullptr;
    XMLPlatformUtils::Terminate();
  }
}

void CFXMLWrapper::createNew(const char* rootName) {
  dispose();
  SetError("");
  try {
    static const XMLCh kCore[] = {'C', 'o', 'r', 'e', 0};
    DOMImplementation* impl = DOMImplementationRegistry::getDOMImplementation(kCore);
    m_document = impl->createDocument(nullptr, Name16(rootName), nullptr);
    m_element = m_document->getDocumentElement();
  } catch (const XMLException& e) {
    SetError(CFXMLConverter(e.getMessage()).str());
    Say(m_lastError);
    m_document = nullptr;
    m_element = nullptr;
  } catch (const DOMException& e) {
    SetError(CFXMLConverter(e.getMessage()).str());
    Say("Caught DOM Exception " + m_lastError);
    m_document = nullptr;
    m_element = nullptr;
  }
}

void CFXMLWrapper::loadFromContents(const char* text) {
  dispose();
  SetError("");
  static NoExternalResolver resolver;
  ParseErrorKeeper errors;
  try {
    if (!m_parser) {
      m_parser.reset(new BoundedDOMParser());
      m_parser->setValidationScheme(XercesDOMParser::Val_Never);
      m_parser->setDoSchema(false);
      m_parser->setLoadExternalDTD(false);
      m_parser->setDisableDefaultEntityResolution(true);
      m_parser->setXMLEntityResolver(&resolver);
    }
    SecurityManager security;
    security.setEntityExpansionLimit(kEntityExpansionLimit);
    m_parser->setSecurityManager(&security);
    m_parser->setErrorHandler(&errors);
    const char* body = text != nullptr ? text : "";
    MemBufInputSource source(reinterpret_cast<const XMLByte*>(body), std::strlen(body), "id",
                             false);
    m_parser->reset();
    m_parser->parse(source);
    m_parser->setSecurityManager(nullptr);
    m_parser->setErrorHandler(nullptr);
    m_document = m_parser->getDocument();
    m_element = m_document != nullptr ? m_document->getDocumentElement() : nullptr;
    if (m_element == nullptr) {
      SetError("the document has no root element");
      dispose();
    }
    return;
  } catch (const XMLException& e) {
    SetError(CFXMLConverter(e.getMessage()).str());
    Say(m_lastError);
  } catch (const EntityTooLong&) {
    Say("Caught unknown exception");
    SetError("an entity declares more than " + std::to_string(kEntityValueLimit) + " characters");
  } catch (...) {
    Say("Caught unknown exception");
    if (errors.message().empty()) {
      SetError("the text is not well-formed XML");
    } else {
      SetError(errors.message(), errors.line(), errors.column());
    }
  }
  if (m_parser) {
    m_parser->setSecurityManager(nullptr);
    m_parser->setErrorHandler(nullptr);
  }
  dispose();
  // A wrapper whose load failed has no element: nothing may point into a released document.
  m_element = nullptr;
}

int CFXMLWrapper::dispose() {
  // Children and iterators of an owned document point into it and go with it. A wrapper that
  // owns no document keeps them: the document they point into is still alive.
  if (m_parser || m_document != nullptr) {
    m_iterators.clear();
    m_children.clear();
  }
  if (m_parser) {
    m_parser.reset();
  } else if (m_document != nullptr) {
    m_document->release();
  }
  m_document = nullptr;
  return kXMLOk;
}

void CFXMLWrapper::createFromElement(DOMElement* element) { m_element = element; }

int CFXMLWrapper::doc2string(std::string& out) const {
  out.clear();
  DOMNode* node = m_document != nullptr ? static_cast<DOMNode*>(m_document) : m_element;
  if (node == nullptr) return kXMLOk;
  DOMDocument* owner = m_document != nullptr ? m_document : m_element->getOwnerDocument();
  try {
    DOMImplementation* impl = owner->getImplementation();
    std::unique_ptr<DOMLSSerializer, Releaser> serializer(impl->createLSSerializer());
    std::unique_ptr<DOMLSOutput, Releaser> output(impl->createLSOutput());
    serializer->getDomConfig()->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, false);
    // Text in the interface is UTF-8, whatever encoding a loaded document declared.
    static const XMLCh kUTF8[] = {'U', 'T', 'F', '-', '8', 0};
    output->setEncoding(kUTF8);
    MemBufFormatTarget target(1023);
    output->setByteStream(&target);
    serializer->write(node, output.get());
    out.assign(reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen());
  } catch (const XMLException& e) {
    Say(CFXMLConverter(e.getMessage()).str());
    out.clear();
  } catch (const DOMException& e) {
    Say("Caught DOM Exception " + CFXMLConverter(e.getMessage()).str());
    out.clear();
  }
  // The serialiser escapes tabs and carriage returns in attribute values, and carriage returns
  // in text, on its own (elsewhere it writes "&" as "&amp;"). Such a text ends with the same
  // NUL as one escaped by handleTabAndCR, so a caller sees one rule whoever did the escaping.
  // Between declarations of the internal subset a character reference is no white space at
  // all: the subset keeps its tabs, or the text would not parse again.
  const std::pair<size_t, size_t> subset = InternalSubsetIn(out, m_document);
  EscapeTabAndCR(out, subset.first, subset.second);
  // A text escaped here already ends with its NUL; only one left as it was needs the scan.
  if (!out.empty() && out.back() != '\0' && HoldsEscapedTabOrCR(out)) out.push_back('\0');
  return kXMLOk;
}

int CFXMLWrapper::doc2string(char* buf, size_t capacity, size_t* needed) const {
  std::string text;
  doc2string(text);
  return CopyOut(text, buf, capacity, needed);
}

// ---------------------------------------------------------------------------------------------
// Elements

CFXMLWrapper* CFXMLWrapper::Adopt(DOMElement* element) {
  m_children.emplace_back(new CFXMLWrapper(element));
  return m_children.back().get();
}

int CFXMLWrapper::addElement(const char* name, CFXMLWrapper** out) {
  return insertElementBefore(name, nullptr, out);
}

int CFXMLWrapper::addElement(CFXMLWrapper* child) {
  if (m_element == nullptr || child == nullptr || child->m_element == nullptr) {
    return kXMLBadArgument;
  }
  try {
    m_element->appendChild(child->m_element);
  } catch (const DOMException&) {
    return kXMLBadArgument;
  }
  m_children.emplace_back(child);
  return kXMLOk;
}

int CFXMLWrapper::insertElementBefore(const char* name, CFXMLWrapper* ref, CFXMLWrapper** out) {
  if (m_element == nullptr || name == nullptr) return kXMLBadArgument;
  try {
    DOMElement* created = m_element->getOwnerDocument()->createElement(Name16(name));
    m_element->insertBefore(created, ref != nullptr ? ref->m_element : nullptr);
    CFXMLWrapper* wrapper = Adopt(created);
    if (out != nullptr) *out = wrapper;
  } catch (const DOMException&) {
    return kXMLBadArgument;
  }
  return kXMLOk;
}

int CFXMLWrapper::copyElement(CFXMLWrapper* src, CFXMLWrapper** out) {
  return copyElementBefore(src, nullptr, out);
}

int CFXMLWrapper::copyElementBefore(CFXMLWrapper* src, CFXMLWrapper* ref, CFXMLWrapper** out) {
  if (m_element == nullptr || src == nullptr || src->m_element == nullptr) {
    return kXMLBadArgument;
  }
  try {
    DOMNode* imported = m_element->getOwnerDocument()->importNode(src->m_element, true);
    if (!IsElement(imported)) return kXMLBadArgument;
    m_element->insertBefore(imported, ref != nullptr ? ref->m_element : nullptr);
    CFXMLWrapper* wrapper = Adopt(static_cast<DOMElement*>(imported));
    if (out != nullptr) *out = wrapper;
  } catch (const DOMException&) {
    return kXMLBadArgument;
  }
  return kXMLOk;
}

CFXMLWrapper* CFXMLWrapper::createFreeElement(const char* name) {
  if (m_element == nullptr || name == nullptr) return nullptr;
  try {
    return new CFXMLWrapper(m_element->getOwnerDocument()->createElement(Name16(name)));
  } catch (const DOMException&) {
    return nullptr;
  }
}

int CFXMLWrapper::addText(const char* text) {
  CFXMLConverter wide(text);
  m_element->appendChild(m_element->getOwnerDocument()->createTextNode(wide));
  return kXMLOk;
}

int CFXMLWrapper::getName(std::string& name) const {
  name.clear();
  if (m_element == nullptr) return kXMLBadArgument;
  CFXMLConverter::ToUTF8(m_element->getTagName(), name);
  return kXMLOk;
}

int CFXMLWrapper::getName(char* buf, size_t capacity, size_t* needed) const {
  std::string name;
  int rc = getName(name);
  if (rc != 0) return rc;
  return CopyOut(name, buf, capacity, needed);
}

int CFXMLWrapper::MakeIterator(bool direct, int type, const char* name,
                               CFXMLIteratorWrapper** out) const {
  if (m_element == nullptr) return kXMLBadArgument;
  m_iterators.emplace_back(new CFXMLIteratorWrapper(
      m_element, direct, static_cast<CFXMLIteratorWrapper::FilterType>(type), name));
  if (out != nullptr) *out = m_iterators.back().get();
  return kXMLOk;
}

int CFXMLWrapper::getElementDirectIterator(const char* name, CFXMLIteratorWrapper** out) const {
  return MakeIterator(true, CFXMLIteratorWrapper::Elements, name, out);
}

int CFXMLWrapper::getElementIterator(const char* name, CFXMLIteratorWrapper** out) const {
  bool direct = name == nullptr || name[0] == '\0';
  return MakeIterator(direct, CFXMLIteratorWrapper::Elements, name, out);
}

int CFXMLWrapper::getTextIterator(CFXMLIteratorWrapper** out) const {
  return MakeIterator(true, CFXMLIteratorWrapper::TextNodes, "", out);
}

void CFXMLWrapper::releaseHandedOut() const {
  m_iterators.clear();
  m_children.clear();
}

void CFXMLWrapper::registerHandle(CFXML* handle) {
  if (handle != nullptr) m_handles.push_back(handle);
}

// ---------------------------------------------------------------------------------------------
// Attributes

int CFXMLWrapper::addAttribute(const char* name, const char* value) {
  if (m_element == nullptr || name == nullptr) return kXMLBadArgument;
  try {
    CFXMLConverter wide(value);
    m_element->setAttribute(Name16(name), wide);
  } catch (const DOMException&) {
    return kXMLBadArgument;
  }
  return kXMLOk;
}

int CFXMLWrapper::addAttribute(const char* name, long long value) {
  if (m_element == nullptr) return kXMLBadArgument;
  std::string text;
  if (!ToString(value, text)) return kXMLBadArgument;
  return addAttribute(name, text.c_str());
}

int CFXMLWrapper::addAttribute(const char* name, double value) {
  if (m_element == nullptr) return kXMLBadArgument;
  std::string text;
  if (!ToString(value, text)) return kXMLBadArgument;
  return addAttribute(name, text.c_str());
}

int CFXMLWrapper::hasAttribute(const char* name, int* present) const {
  if (m_element == nullptr || name == nullptr) return kXMLBadArgument;
  bool has = m_element->getAttributeNode(Name16(name)) != nullptr;
  if (present != nullptr) *present = has ? 1 : 0;
  return kXMLOk;
}

int CFXMLWrapper::removeAttribute(const char* name) {
  if (m_element == nullptr || name == nullptr) return kXMLBadArgument;
  try {
    m_element->removeAttribute(Name16(name));
  } catch (const DOMException&) {
    return kXMLBadArgument;
  }
  return kXMLOk;
}

int CFXMLWrapper::getAttribute(const char* name, std::string& value, bool& found) const {
  value.clear();
  found = false;
  if (m_element == nullptr || name == nullptr) return kXMLBadArgument;
  const DOMAttr* attr = m_element->getAttributeNode(Name16(name));
  if (attr == nullptr) return kXMLOk;
  found = true;
  CFXMLConverter::ToUTF8(attr->getValue(), value);
  return kXMLOk;
}

int CFXMLWrapper::getAttribute(const char* name, char* buf, size_t capacity, size_t* needed) const {
  std::string value;
  bool found = false;
  int rc = getAttribute(name, value, found);
  if (rc != 0) return rc;
  return CopyOut(value, buf, capacity, needed);
}

int CFXMLWrapper::getAttribute(const char* name, int& value, bool& found) const {
  value = 0;
  found = false;
  std::string text;
  bool present = false;
  int rc = getAttribute(name, text, present);
  if (rc != 0 || !present) return rc;
  text = Collapse(text);
  if (!IsSchemaNumber(text, false) || text.find('.') != std::string::npos) return kXMLBadArgument;
  const char* first = text.c_str() + (text[0] == '+' ? 1 : 0);
  long long parsed = 0;
  auto result = std::from_chars(first, text.c_str() + text.size(), parsed);
  if (result.ec != std::errc() || result.ptr != text.c_str() + text.size()) {
    return kXMLBadArgument;
  }
  value = static_cast<int>(parsed);
  found = true;
  return kXMLOk;
}

int CFXMLWrapper::getAttribute(const char* name, long long& value, bool& found) const {
  value = 0;
  found = false;
  std::string text;
  bool present = false;
  int rc = getAttribute(name, text, present);
  if (rc != 0 || !present) return rc;
  if (!ParseLongLong(text, value)) return kXMLBadArgument;
  found = true;
  return kXMLOk;
}

int CFXMLWrapper::getAttribute(const char* name, double& value, bool& found, int& kind) const {
  value = 0.0;
  found = false;
  std::string text;
  bool present = false;
  int rc = getAttribute(name, text, present);
  if (rc != 0 || !present) return rc;
  if (!ParseDouble(text, value, kind)) return kXMLBadArgument;
  found = true;
  return kXMLOk;
}

bool CFXMLWrapper::ParseLongLong(const std::string& text, long long& value) {
  value = 0;
  // "%lld" semantics: leading white space and a sign are accepted; nothing may follow the
  // number, and a value beyond 64 bits is no number at all.
  const char* s = text.c_str();
  while (*s != '\0' && std::isspace(static_cast<unsigned char>(*s))) ++s;
  if (*s != '+' && *s != '-' && !(*s >= '0' && *s <= '9')) return false;
  errno = 0;
  char* end = nullptr;
  long long parsed = std::strtoll(s, &end, 10);
  if (end == s || errno == ERANGE || static_cast<size_t>(end - text.c_str()) != text.size()) {
    return false;
  }
  value = parsed;
  return true;
}

bool CFXMLWrapper::ParseDouble(const std::string& raw, double& value, int& kind) {
  value = 0.0;
  kind = -1;
  std::string text = Collapse(raw);
  if (text == "-INF") {
    kind = 1;
    return true;
  }
  if (text == "INF" || text == "+INF") {
    kind = 2;
    return true;
  }
  if (text == "NaN") {
    kind = 3;
    return true;
  }
  if (!IsSchemaNumber(text, true)) return false;
  const char* first = text.c_str() + (text[0] == '+' ? 1 : 0);
  double parsed = 0.0;
  auto result = std::from_chars(first, text.c_str() + text.size(), parsed);
  if (result.ec == std::errc::result_out_of_range) {
    // Too large for a double rounds to an infinity; too small rounds to zero.
    if (DecimalMagnitude(text) > 0) {
      kind = text[0] == '-' ? 1 : 2;
      return true;
    }
    parsed = text[0] == '-' ? -0.0 : 0.0;
  } else if (result.ec != std::errc()) {
    return false;
  }
  value = parsed;
  kind = 0;
  return true;
}

// ---------------------------------------------------------------------------------------------
// Text helpers

bool CFXMLWrapper::ToString(double value, std::string& out) {
  char buf[64];
  int n = std::snprintf(buf, sizeof(buf), "%.15g", value);
  if (n <= 0) {
    out.clear();
    return false;
  }
  out.assign(buf, static_cast<size_t>(n) < sizeof(buf) ? n : sizeof(buf) - 1);
  size_t comma = out.find(',');
  if (comma != std::string::npos) out[comma] = '.';
  return true;
}

bool CFXMLWrapper::ToString(long long value, std::string& out) {
  char buf[32];
  int n = std::snprintf(buf, sizeof(buf), "%lld", value);
  if (n <= 0) {
    out.clear();
    return false;
  }
  out.assign(buf, n);
  return true;
}

void CFXMLWrapper::handleTabAndCR(std::string& text) { EscapeTabAndCR(text, 0, 0); }

std::string CFXMLWrapper::loadStringFromFile(const char* path) {
  if (path == nullptr) return std::string();
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::string();
  std::string text;
  char chunk[65536];
  while (in.read(chunk, sizeof(chunk)) || in.gcount() > 0) {
    text.append(chunk, static_cast<size_t>(in.gcount()));
  }
  size_t start = text.find('<');
  if (start == std::string::npos) return std::string();
  text.erase(0, start);
  return text;
}

void CFXMLWrapper::saveStringToFile(const char* path, const char* text) {
  if (path == nullptr) return;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) return;
  if (text != nullptr) out.write(text, static_cast<std::streamsize>(std::strlen(text)));
}

}  // namespace CfExtension
