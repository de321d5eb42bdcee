// The libFuzzer entry point shared by every target: CFFUZZ_CHECK names the check of
// cffuzz_checks.h that this target runs, CFFUZZ_NAME the target.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cfmeta/xml/cfxmlwrapper.h"
#include "fuzz/cffuzz_checks.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  CfExtension::CFXMLWrapper::startup(false);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string broken = cffuzz::CFFUZZ_CHECK(data, size);
  if (!broken.empty()) {
    std::fprintf(stderr, "%s: %s\n", CFFUZZ_NAME, broken.c_str());
    std::abort();
  }
  return 0;
}
