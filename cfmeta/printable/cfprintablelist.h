// The two list printables: a message pattern rendered over a list of printables.
//
// Both hold a pattern, a key flag and a map id. When the key flag is set the pattern is a
// resource key: the host's look-up (see CFResLookUp) turns it into the pattern once, and the
// result is kept until the pattern or the look-up changes. A key with no look-up renders as
// an empty pattern.
//
// Reading from XML is lenient about the list's own attributes and strict about its children:
// "pattern" missing or unreadable leaves an empty list; an "isKey" other than "true" or
// "false" keeps the pattern but stops there (no key, map id 0, no arguments); an "mapId" that
// is not an integer keeps the pattern and key flag but stops there. Every child element must
// read as a printable, or the constructor throws CFPrintable::FailExcp; so does nesting
// deeper than a few hundred levels.
#ifndef CFMETA_PRINTABLE_CFPRINTABLELIST_H_
#define CFMETA_PRINTABLE_CFPRINTABLELIST_H_

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/printable/cfprintable.h"

namespace CFPrintableUtil {
class CommonImpl;
}

// A message pattern over printables: argument i of the pattern is the i-th printable's text.
class CFMETA_API CFPrintableList : public CFPrintable {
 public:
  // An empty pattern, no key, map id 0, no arguments.
  CFPrintableList();
  CFPrintableList(const std::string& pattern, bool isKey, int mapId);
  // Reads a "PrintableList" element; see the rules above.
  explicit CFPrintableList(const CfExtension::CFXMLWrapper& element);
  CFPrintableList(const CFPrintableList& other);
  CFPrintableList& operator=(const CFPrintableList& other);
  ~CFPrintableList() override;

  // Null when `element` is not a "PrintableList" (`matched` false) or cannot be read
  // (`matched` true). The caller owns the result. Never throws FailExcp.
  static CFPrintableList* CreateFromElmt(const CfExtension::CFXMLWrapper& element, bool& matched);

  void SetPattern(const std::string& pattern, bool isKey, int mapId);
  // The arguments become clones of `list`, in order; the list holds no pointer of the
  // caller's. Any null entry leaves no arguments at all.
  void SetList(const std::vector<const CFPrintable*>& list);
  // Appends a clone of `printable`.
  void AppendToList(const CFPrintable& printable);

  CFPrintable* Clone() const override;
  // With no arguments, the resolved pattern exactly as it stands, braces and quotes
  // included. Otherwise the pattern formatted by ICU's MessageFormat over the arguments'
  // texts; empty when the pattern does not compile or formatting fails.
  std::string Print() const override;
  void SetResLookUp(CFResLookUp* lookUp) override;
  // Writes "pattern" (the key itself for a key), "isKey" only for a key, "mapId" only when it
  // is not 0, and the arguments as children in order. Fails when any argument fails.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;

 private:
  friend class CFPrintableUtil::CommonImpl;
  CFPrintableList(const CfExtension::CFXMLWrapper& element, int depth);

  std::unique_ptr<CFPrintableUtil::CommonImpl> m_common;
};

// A list pattern in three parts separated by "/": a head, a middle repeated as often as the
// arguments allow, and a tail. Each part takes as many arguments as it has top-level
// placeholders, numbered from 0 within the part. For "{0}/, {0}/ and {0}" the arguments A, B,
// C, D render as "A, B, C and D", and A alone as "A".
//
// Rendering: the head takes the first arguments. When more arguments remain than the tail
// needs, the tail takes the last ones and the middle repeats over those in between, as long
// as a whole middle's worth remains; a remainder too short for one middle is not shown. A
// part that has no placeholders, or too few arguments left for it, renders as nothing, even
// when it holds literal text. Text after a third "/" belongs to the tail.
class CFMETA_API CFPrintableVList : public CFPrintable {
 public:
  CFPrintableVList();
  CFPrintableVList(const std::string& pattern, bool isKey, int mapId);
  // Reads a "PrintableVList" element under the same rules as a list.
  explicit CFPrintableVList(const CfExtension::CFXMLWrapper& element);
  CFPrintableVList(const CFPrintableVList& other);
  CFPrintableVList& operator=(const CFPrintableVList& other);
  ~CFPrintableVList() override;

  // Null when `element` is not a "PrintableVList" (`matched` false) or cannot be read
  // (`matched` true). The caller owns the result. Never throws FailExcp.
  static CFPrintableVList* CreateFromElmt(const CfExtension::CFXMLWrapper& element, bool& matched);

  void SetPattern(const std::string& pattern, bool isKey, int mapId);
  // As CFPrintableList::SetList.
  void SetList(const std::vector<const CFPrintable*>& list);
  void AppendToList(const CFPrintable& printable);

  CFPrintable* Clone() const override;
  // Head, middles and tail joined; empty when any part fails to compile.
  std::string Print() const override;
  void SetResLookUp(CFResLookUp* lookUp) override;
  // As CFPrintableList::AddToTree, as a "PrintableVList" element.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;

  // How many arguments a compiled part takes: its number of top-level placeholders, counting
  // a repeated one each time it appears. -1 when `part` does not compile. Exposed so that the
  // counting rule can be checked on its own.
  static int CountPartArguments(const std::string& part);

 private:
  friend class CFPrintableUtil::CommonImpl;
  CFPrintableVList(const CfExtension::CFXMLWrapper& element, int depth);

  class Parts;
  std::unique_ptr<CFPrintableUtil::CommonImpl> m_common;
  // Compiled from the resolved pattern on the first Print; dropped when it may change.
  mutable std::unique_ptr<Parts> m_parts;
};

#endif  // CFMETA_PRINTABLE_CFPRINTABLELIST_H_
