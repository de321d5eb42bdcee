#include "cfmeta/printable/cfprintable.h"

#include "cfmeta/printable/cfprintablecommon_internal.h"

const char* CFPrintable::FailExcp::what() const noexcept {
  return "the printable cannot be built from what it was given";
}

CFPrintable::~CFPrintable() = default;

CFPrintable* CFPrintable::CreateFromElmt(const CfExtension::CFXMLWrapper& element, bool& matched) {
  return CFPrintableUtil::CommonImpl::ReadPrintable(element, 0, matched);
}
