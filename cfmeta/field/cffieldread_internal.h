// Attribute and list readers shared by the field, its values and ranges, and the readers of
// model fields and statistics. Not installed; exported only so that the library's own tests
// can reach them.
//
// Each returns the wrapper's status (0 success) or 5 for content it cannot accept.
#ifndef CFMETA_FIELD_CFFIELDREAD_INTERNAL_H_
#define CFMETA_FIELD_CFFIELDREAD_INTERNAL_H_

#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cffield.h"

class CFValue;
namespace CfExtension {
class CFXMLWrapper;
}
namespace CfCppHelperV1 {
class XMLElement;
}

namespace cfmeta_internal {

// `found` tells whether the attribute is present. `value` is true only for the text
// XMLEntities::True; XMLEntities::False gives false, and any other text returns 5 (exact,
// case-sensitive comparison).
CFMETA_API int GetBoolAttr(const CfExtension::CFXMLWrapper& element, const char* name, bool& value,
                           bool& found);

// Reads an attribute as a datum of `type`. `datum` is first made null, keeping its type (a
// string gives up its buffer). `status` then tells:
//   0  a value was found and `datum` holds it;
//   4  the attribute is absent (`datum` stays null);
//   -1 the result is non-zero and nothing was read;
//   1, 2, 3 (reals only) the text is -INF, INF or NaN; `datum` stays null.
// The result is the wrapper's read status: 5 for a text that is not a number of that type.
CFMETA_API int GetDataValueAttr(const CfExtension::CFXMLWrapper& element, const char* name,
                                CFDatum::DataType type, CFDatum& datum, int& status);
// The same over the vocabulary's element reader, with the same number grammar. An absent
// attribute gives `status` 4 and result 0; an unconvertible number gives 5 with `status` -1.
CFMETA_API int GetDataValueAttr(const CfCppHelperV1::XMLElement& element, const char* name,
                                CFDatum::DataType type, CFDatum& datum, int& status);

// Reads each direct XMLElements::Value child of `element`, in document order, as a CFValue
// of `type` into `list`. A value that reads as null gives 5. On any failure `list` is empty.
CFMETA_API int GetValuesList(const CfExtension::CFXMLWrapper& element, CFDatum::DataType type,
                             std::vector<CFValue>& list);

// Position of the first row of `rows` (closed by a row whose text is null) whose text equals
// `text` byte for byte; -1 when there is none or `text` is null.
CFMETA_API int FindStrInList(const char* text, const CFField::EntityRow* rows);

}  // namespace cfmeta_internal

#endif  // CFMETA_FIELD_CFFIELDREAD_INTERNAL_H_
