// Starts the XML platform once before any test and stops it after the last.
#include <gtest/gtest.h>

#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

class XMLPlatformEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { CfExtension::CFXMLWrapper::startup(false); }
  void TearDown() override { CfExtension::CFXMLWrapper::shutdown(false); }
};

const ::testing::Environment* const kPlatform =
    ::testing::AddGlobalTestEnvironment(new XMLPlatformEnvironment);

}  // namespace
