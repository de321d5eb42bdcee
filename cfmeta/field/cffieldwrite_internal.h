// Writing helpers shared by the field's writer and the writers of its owned parts. Not
// installed and not exported.
#ifndef CFMETA_FIELD_CFFIELDWRITE_INTERNAL_H_
#define CFMETA_FIELD_CFFIELDWRITE_INTERNAL_H_

#include <cstdint>

#include "cfmeta/field/cffield.h"

namespace CfExtension {
class CFXMLWrapper;
}

namespace cfmeta_internal {

// The text of the first row of `rows` whose value is `value`; null when there is none.
// Writing takes the first row that matches, so where two texts read as one value, the text we
// write must come first.
const char* TextFor(const CFField::EntityRow* rows, uint32_t value);

// Adds the attribute `name` with the text of `value` in `rows`; a value without a row gives 5
// and adds nothing.
int AddEntity(CfExtension::CFXMLWrapper& element, const char* name, const CFField::EntityRow* rows,
              uint32_t value);

}  // namespace cfmeta_internal

#endif  // CFMETA_FIELD_CFFIELDWRITE_INTERNAL_H_
