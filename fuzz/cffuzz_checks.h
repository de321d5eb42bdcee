// The checks behind the fuzz targets. Each runs one target's code path over arbitrary bytes and
// returns an empty text when every rule held, or a description of the rule that broke. The
// fuzz targets abort on a non-empty result; the unit tests replay kept inputs through the same
// checks.
//
// Requires: CfExtension::CFXMLWrapper::startup has run.
#ifndef CFMETA_FUZZ_CFFUZZ_CHECKS_H_
#define CFMETA_FUZZ_CFFUZZ_CHECKS_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace cffuzz {

// Loads the bytes as a metadata document, exports what loaded and loads that export again:
// both loads must give the same fields in the same order, and exporting the second load must
// give the first export back. Nothing loaded means nothing exported.
std::string CheckMetadataRoundTrip(const uint8_t* data, size_t size);

// Parses the bytes as a document and drives every typed attribute reader on every attribute of
// every element, and the element and text iterators, against what the document holds.
std::string CheckXMLWrapper(const uint8_t* data, size_t size);

// The first 8 bytes are a double and the next 8 an integer to render; the rest, split at NUL
// bytes, are the texts of a number format element's attributes. The format read from them must
// survive a write and a read, and every rendering must keep to its width rule.
std::string CheckNumberFormat(const uint8_t* data, size_t size);

// The first byte picks a sketch (quantiles of numbers or of texts, distinct count, heavy
// hitters). The rest is read as a serialised sketch; when that is refused, it is a stream of
// values to add instead. A sketch read or built must serialise to bytes that read back to the
// same bytes, and merging it into itself must double its count.
std::string CheckSketches(const uint8_t* data, size_t size);

}  // namespace cffuzz

#endif  // CFMETA_FUZZ_CFFUZZ_CHECKS_H_
