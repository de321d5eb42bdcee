// Writing helpers shared by the field's writer and the writers of its owned parts. Not
// installed and not exported.
#ifndef CFMETA_FIELD_CFFIELDWRITE_INTERNAL_H_
#define CFMETA_FIELD_CFFIELDWRITE_INTERNAL_H_

#include <cstdint>
#include <memory>

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

// Attaches `element` as the last child of `parent` and points `created` at it when `rc` is 0
// and the attach succeeds; otherwise `element` is destroyed with everything under it and
// `created` is left as it was.
void Finish(int rc, std::unique_ptr<CfExtension::CFXMLWrapper> element,
            CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created);

}  // namespace cfmeta_internal

#endif  // CFMETA_FIELD_CFFIELDWRITE_INTERNAL_H_
