// Display text stored as data: a printable renders itself as UTF-8 text on demand, nests
// inside message lists, and reads and writes its own XML element.
//
// Three kinds exist: CFPrintableValue (one value with its display format), CFPrintableList (a
// message pattern over a list of printables) and CFPrintableVList (a three-part pattern whose
// middle repeats for as many arguments as there are).
//
// Printables are the one place where reading throws: a constructor that cannot build a
// consistent object throws CFPrintable::FailExcp. Writing and rendering never throw; a failed
// write leaves `created` null and the parent untouched, a failed rendering gives empty text.
// Rendering fills caches (a resolved key, compiled pattern parts), so a printable is used by
// one thread at a time, Print included.
#ifndef CFMETA_PRINTABLE_CFPRINTABLE_H_
#define CFMETA_PRINTABLE_CFPRINTABLE_H_

#include <exception>
#include <string>

#include "cfmeta/cfmeta_export.h"

namespace CfExtension {
class CFXMLWrapper;
}

// The host's resource look-up: turns a key and a map id into a message pattern.
//
// Printables never own a look-up. The host keeps it alive for as long as any printable that
// was given it may render; before destroying it, the host hands those printables another
// look-up or null through SetResLookUp. A printable never calls a look-up it no longer holds.
class CFMETA_API CFResLookUp {
 public:
  virtual ~CFResLookUp() = default;
  // Fills `pattern` with the pattern stored under `key` in map `mapId`; leaves it empty when
  // there is none.
  virtual void LookUp(const std::string& key, std::string& pattern, int mapId) = 0;
};

class CFMETA_API CFPrintable {
 public:
  // Thrown by a constructor that cannot build a consistent object: a value whose datum and
  // format disagree, or an element that does not read as a printable.
  class CFMETA_API FailExcp : public std::exception {
   public:
    const char* what() const noexcept override;
  };

  virtual ~CFPrintable();
  // A deep copy of the same kind; the caller owns it.
  virtual CFPrintable* Clone() const = 0;
  // The rendered text; empty when rendering fails.
  virtual std::string Print() const = 0;
  // Gives this printable and every printable nested in it `lookUp` (not owned; null for
  // none) to resolve key patterns with. Patterns already resolved are resolved again with the
  // new look-up. Arguments added afterwards keep the look-up they came with.
  virtual void SetResLookUp(CFResLookUp* lookUp) = 0;
  // Appends this printable's element, with everything nested in it, to `parent`. The element
  // is finished before it is attached, so on failure `created` is null and `parent` is as it
  // was.
  virtual void AddToTree(CfExtension::CFXMLWrapper& parent,
                         CfExtension::CFXMLWrapper*& created) const = 0;

  // Reads any kind of printable from `element`, trying the list, the value and the
  // three-part list in that order. `matched` tells whether the element's name is one of
  // theirs. Null when it is not, or when it is but the element cannot be read (`matched` is
  // then true). The caller owns the result. Never throws FailExcp.
  static CFPrintable* CreateFromElmt(const CfExtension::CFXMLWrapper& element, bool& matched);

 protected:
  CFPrintable() = default;
  CFPrintable(const CFPrintable&) = default;
  CFPrintable& operator=(const CFPrintable&) = default;
};

#endif  // CFMETA_PRINTABLE_CFPRINTABLE_H_
