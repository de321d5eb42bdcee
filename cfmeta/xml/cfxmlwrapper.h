// The one door through which every model class reads and writes XML: a handle on one DOM
// element and, for the wrapper that made or loaded it, on the document itself.
//
// Every operation that can fail returns a status instead of throwing:
//   0  (kXMLOk)          success
//   5  (kXMLBadArgument) the wrapper has no element, an argument is unusable, or a value could
//                        not be parsed
//   9  (kXMLEnd)         an iterator has nothing more to hand out
//   13 (kXMLTooSmall)    the caller's buffer is too small; the needed size is still reported
#ifndef CFMETA_XML_CFXMLWRAPPER_H_
#define CFMETA_XML_CFXMLWRAPPER_H_

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>
#include <xercesc/util/XercesDefs.hpp>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/xml/cfxml_c.h"

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMElement;
class DOMNode;
class XercesDOMParser;
class XMLTranscoder;
XERCES_CPP_NAMESPACE_END

namespace CfExtension {

enum : int { kXMLOk = 0, kXMLBadArgument = 5, kXMLEnd = 9, kXMLTooSmall = 13 };

class CFXMLIteratorWrapper;

// Turns UTF-8 into the parser's 16-bit text and back. Invalid UTF-8 and unpaired surrogates
// become U+FFFD; nothing is ever dropped silently.
class CFMETA_API CFXMLConverter {
 public:
  explicit CFXMLConverter(const char* utf8);
  explicit CFXMLConverter(const std::string& utf8);
  explicit CFXMLConverter(const XMLCh* utf16);
  ~CFXMLConverter();
  CFXMLConverter(const CFXMLConverter&) = delete;
  CFXMLConverter& operator=(const CFXMLConverter&) = delete;

  // Both stay valid for the life of the converter. The 16-bit form is zero-terminated.
  operator const char*() const { return m_utf8.c_str(); }
  operator const XMLCh*() const { return m_utf16.get(); }
  const std::string& str() const { return m_utf8; }

  // The process-wide "UTF8" transcoder made by CFXMLWrapper::startup. Not owned by callers.
  static void setTranscoder(XERCES_CPP_NAMESPACE::XMLTranscoder* transcoder);
  static XERCES_CPP_NAMESPACE::XMLTranscoder* getTranscoder();

  // Direct conversions for code that keeps its own buffers. `count` is in code units.
  static void ToUTF8(const XMLCh* text, size_t count, std::string& out);
  static void ToUTF8(const XMLCh* text, std::string& out);
  static void ToUTF16(const char* text, size_t length, std::u16string& out);

 private:
  std::unique_ptr<XMLCh[]> m_utf16;
  std::string m_utf8;
};

class CFMETA_API CFXMLWrapper {
 public:
  // A wrapper with no element and no document.
  CFXMLWrapper();
  // Wraps `element` (not owned); owns no document.
  explicit CFXMLWrapper(XERCES_CPP_NAMESPACE::DOMElement* element);
  // Disposes of an owned document, then destroys every child wrapper, iterator and handle
  // this wrapper handed out or recorded.
  ~CFXMLWrapper();
  CFXMLWrapper(const CFXMLWrapper&) = delete;
  CFXMLWrapper& operator=(const CFXMLWrapper&) = delete;

  // Process-wide set-up and tear-down, each called once by one thread while no other thread
  // uses XML. `startup` must run before any other operation.
  static void startup(bool alreadyInitialised);
  static void shutdown(bool keepPlatform);

  // --- Documents ---

  // Makes a new document whose root element is named `rootName`. On failure the wrapper has
  // no document (a message is printed on the message stream).
  void createNew(const char* rootName);
  // Parses `text`. A document that cannot be parsed leaves the wrapper without a document;
  // callers that load into a fresh wrapper test `getElement()` for null. A document never
  // makes the parser read a file or reach the network, and entity expansion is bounded.
  void loadFromContents(const char* text);
  // Releases an owned document. The element reference stays until the next create or load.
  // Always 0.
  int dispose();
  // Points this wrapper at an existing element; nothing else changes.
  void createFromElement(XERCES_CPP_NAMESPACE::DOMElement* element);

  // Serialises the owned document, or the wrapped element when there is none. Tabs and
  // carriage returns are escaped by handleTabAndCR. Always 0; a document holding a character
  // its XML version cannot carry (a control character in an XML 1.0 document) gives an empty
  // text.
  int doc2string(std::string& out) const;
  // As above into `buf`: `*needed` becomes the text's length plus one; 13 when that exceeds
  // `capacity` (the buffer is untouched), else the text and a NUL are copied and 0 returned.
  int doc2string(char* buf, size_t capacity, size_t* needed) const;

  // Null when there is none. Not owned by the caller.
  XERCES_CPP_NAMESPACE::DOMElement* getElement() const { return m_element; }
  XERCES_CPP_NAMESPACE::DOMDocument* getDocument() const { return m_document; }
  // Why the last load failed, with line and column when the parser knew them; empty after a
  // load that succeeded.
  const std::string& getLastError() const { return m_lastError; }
  // The parts of that reason: the line and column (from 1) where the parser stopped, 0 when it
  // did not say, and its message without them.
  int getLastErrorLine() const { return m_errorLine; }
  int getLastErrorColumn() const { return m_errorColumn; }
  const std::string& getLastErrorMessage() const { return m_errorMessage; }

  // Where this wrapper's messages go (a failed parse, a document that cannot be made or
  // serialised): standard output unless set; null prints nothing. Wrappers this one hands out
  // keep their own setting. The stream must outlive its use here.
  void setMessageStream(std::ostream* stream) { m_messages = stream; }
  std::ostream* getMessageStream() const { return m_messages; }

  // --- Elements (each returns 5 when the wrapper has no element) ---

  // Appends a new element named `name`; `*out` is a wrapper this wrapper owns.
  int addElement(const char* name, CFXMLWrapper** out);
  // Appends `child`'s element and takes ownership of `child`. 5 also when `child` is null or
  // has no element (ownership then stays with the caller).
  int addElement(CFXMLWrapper* child);
  // As addElement, inserted before `ref`'s element.
  int insertElementBefore(const char* name, CFXMLWrapper* ref, CFXMLWrapper** out);
  // Appends a deep copy of `src`'s element; `*out` is a wrapper this wrapper owns.
  int copyElement(CFXMLWrapper* src, CFXMLWrapper** out);
  int copyElementBefore(CFXMLWrapper* src, CFXMLWrapper* ref, CFXMLWrapper** out);
  // An unattached element of this document. The caller owns the returned wrapper until it
  // hands it to addElement(CFXMLWrapper*). Null when this wrapper has no element.
  CFXMLWrapper* createFreeElement(const char* name);
  // Appends a text node. Always 0. Requires: getElement() != nullptr.
  int addText(const char* text);

  int getName(std::string& name) const;
  // Buffer form under the doc2string size rule.
  int getName(char* buf, size_t capacity, size_t* needed) const;

  // Iterators are owned by this wrapper and live as long as it does.
  // Direct children named `name` (any element when `name` is empty).
  int getElementDirectIterator(const char* name, CFXMLIteratorWrapper** out) const;
  // All descendants named `name`; an empty name visits the direct children only.
  int getElementIterator(const char* name, CFXMLIteratorWrapper** out) const;
  // The direct text children.
  int getTextIterator(CFXMLIteratorWrapper** out) const;

  // Records a function table; it is freed with this wrapper.
  void registerHandle(CFXML* handle);
  // Destroys every iterator and child wrapper this wrapper handed out, with everything they
  // handed out in turn; the document is untouched. A reader calls it when it is done with an
  // element, so that a long read holds only what it still uses.
  // Requires: nothing obtained from them is used afterwards.
  void releaseHandedOut() const;

  // --- Attributes (each returns 5 when the wrapper has no element) ---

  int addAttribute(const char* name, const char* value);
  // Written through ToString; 5 when the conversion fails.
  int addAttribute(const char* name, long long value);
  int addAttribute(const char* name, double value);
  // `*present` becomes 1 or 0.
  int hasAttribute(const char* name, int* present) const;
  int removeAttribute(const char* name);

  // `found` tells an absent attribute (0, empty value) from a present, maybe empty, one.
  int getAttribute(const char* name, std::string& value, bool& found) const;
  // The value, empty when absent, under the doc2string buffer rule.
  int getAttribute(const char* name, char* buf, size_t capacity, size_t* needed) const;
  // Absent: 0, value 0, not found. A text that is not an integer: 5, value 0, not found.
  int getAttribute(const char* name, int& value, bool& found) const;
  int getAttribute(const char* name, long long& value, bool& found) const;
  // Absent: 0, value 0, not found, `kind` unchanged. Present: `kind` is 0 for a finite number,
  // 1 for -INF, 2 for INF, 3 for NaN (the last three with value 0 and found true). A text that
  // is not a number: 5, not found, `kind` -1.
  int getAttribute(const char* name, double& value, bool& found, int& kind) const;

  // --- Text helpers ---

  // "%.15g" with a locale's decimal comma turned into a point; false and empty on failure.
  static bool ToString(double value, std::string& out);
  static bool ToString(long long value, std::string& out);
  // The typed getters' grammars on a bare text. ParseDouble sets `kind` as the double getter
  // does and leaves `value` 0 for the three special values.
  static bool ParseDouble(const std::string& text, double& value, int& kind);
  static bool ParseLongLong(const std::string& text, long long& value);
  // Escapes tabs as "&#x9;" and carriage returns as "&#xD;". A string that needed escaping
  // ends with one NUL character inside its length.
  static void handleTabAndCR(std::string& text);
  // The file's text from its first "<" on; empty when it cannot be read or has no "<".
  static std::string loadStringFromFile(const char* path);
  // Writes `text` up to its NUL, truncating the file. A file that cannot be opened is ignored.
  static void saveStringToFile(const char* path, const char* text);

 private:
  XERCES_CPP_NAMESPACE::DOMElement* m_element = nullptr;
  XERCES_CPP_NAMESPACE::DOMDocument* m_document = nullptr;
  mutable std::vector<std::unique_ptr<CFXMLWrapper>> m_children;
  mutable std::vector<std::unique_ptr<CFXMLIteratorWrapper>> m_iterators;
  std::unique_ptr<XERCES_CPP_NAMESPACE::XercesDOMParser> m_parser;
  std::vector<CFXML*> m_handles;
  std::string m_lastError;
  std::string m_errorMessage;
  int m_errorLine = 0;
  int m_errorColumn = 0;
  std::ostream* m_messages;

  // Prints `text` and a line end on the message stream, if there is one.
  void Say(const std::string& text) const;
  void SetError(const std::string& message, int line = 0, int column = 0);

  CFXMLWrapper* Adopt(XERCES_CPP_NAMESPACE::DOMElement* element);
  int MakeIterator(bool direct, int type, const char* name, CFXMLIteratorWrapper** out) const;
};

}  // namespace CfExtension

#endif  // CFMETA_XML_CFXMLWRAPPER_H_
