// Makes the C function tables (see cfxml_c.h) for C++ objects of the XML layer, so that code
// holding a wrapper can hand it to a caller that works through the tables.
#ifndef CFMETA_XML_CFXMLFACTORY_H_
#define CFMETA_XML_CFXMLFACTORY_H_

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/xml/cfxml_c.h"

namespace CfExtension {

class CFXMLIteratorWrapper;
class CFXMLWrapper;

class CFMETA_API CFXMLFactory {
 public:
  // A new table serving `wrapper`, every slot filled. The wrapper owns it and frees it when it
  // is destroyed; the caller never does. Null when `wrapper` is null. Each call makes another
  // table. Throws std::bad_alloc when memory runs out.
  // The table's disposeDocument entry deletes a wrapper that owns its document, so hand the
  // table of such a root only to code that will not call it, unless the root came from new
  // and the caller gave up its ownership.
  static CFXML* create(CFXMLWrapper* wrapper);
};

class CFMETA_API CFXMLIteratorFactory {
 public:
  // As CFXMLFactory::create, for an iterator, which owns the table.
  static CFXMLIterator* create(CFXMLIteratorWrapper* iterator);
};

}  // namespace CfExtension

#endif  // CFMETA_XML_CFXMLFACTORY_H_
