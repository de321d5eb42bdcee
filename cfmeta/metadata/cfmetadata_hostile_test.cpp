// Documents built to hurt: deep nesting, huge values, a million elements, bytes that are not
// text, and numbers at the edges of their grammars. Each loads with its documented result or
// as empty metadata, with memory in proportion to the input.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cfvalue.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/metadata/cfmetadata_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::Counts;
using cfmeta_test::Document;
using cfmeta_test::Field;
using cfmeta_test::Fields;
using cfmeta_test::MakeElement;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

// Peak resident memory of this process so far, in bytes.
size_t PeakMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<size_t>(usage.ru_maxrss) * 1024;
}

// A load holds the text in several forms at once (the bytes, the parser's 16-bit copy, the
// DOM, the model's strings), an eight-byte empty element becomes a DOM node of a hundred bytes
// or more, and sanitizers add their own bookkeeping; beyond this many times the input, memory
// is out of proportion.
constexpr size_t kMemoryPerInputByte = 64;

std::string OneField(const std::string& field) { return Document(Fields(field)); }

std::string Repeat(const std::string& piece, size_t times) {
  std::string out;
  out.reserve(piece.size() * times);
  for (size_t i = 0; i < times; ++i) out += piece;
  return out;
}

TEST(CFMetaDataHostileTest, DeepNestingLoadsWhatItCan) {
  const size_t depth = 10000;
  const std::string nest = Repeat("<Nested>", depth) + Repeat("</Nested>", depth);
  // Unknown children of a field are ignored however deep they go; a Fields element nested in
  // itself holds no Field children.
  const std::string field = MakeElement(XMLElements::Field, {{XMLAttributes::Name, "deep"}}, nest);
  const std::string nestedFields = Repeat("<" + std::string(XMLElements::Fields) + ">", depth) +
                                   Field("inner") +
                                   Repeat("</" + std::string(XMLElements::Fields) + ">", depth);
  struct Row {
    std::string xml;
    unsigned int fields;
  } rows[] = {{OneField(field), 1}, {Document(nestedFields), 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.fields);
    const CFMetaData metadata(row.xml, nullptr);
    ASSERT_EQ(row.fields, metadata.FieldCount());
    std::string out;
    EXPECT_EQ(row.fields > 0, metadata.ExportXMLDoc(out));
  }

  // The wrapper itself walks and writes the whole depth, and what it writes reads back.
  CfExtension::CFXMLWrapper doc;
  doc.loadFromContents(OneField(field).c_str());
  ASSERT_NE(nullptr, doc.getElement());
  CfExtension::CFXMLIteratorWrapper* it = nullptr;
  ASSERT_EQ(0, doc.getElementIterator("Nested", &it));
  size_t seen = 0;
  while (it->nextElement() != nullptr) ++seen;
  EXPECT_EQ(depth, seen);
  std::string text;
  doc.doc2string(text);
  CfExtension::CFXMLWrapper again;
  again.loadFromContents(text.c_str());
  EXPECT_NE(nullptr, again.getElement());
}

TEST(CFMetaDataHostileTest, HugeAttributeValueIsKeptWhole) {
  // Two-byte characters, so that a cut in the middle of one would show.
  const std::string label = Repeat("\xc3\xa9", (50u << 20) / 2);
  std::string xml = OneField(MakeElement(
      XMLElements::Field, {{XMLAttributes::Name, "big"}, {XMLAttributes::DisplayLabel, label}}));
  const size_t before = PeakMemory();
  {
    const CFMetaData metadata(xml, nullptr);
    ASSERT_EQ(1u, metadata.FieldCount());
    EXPECT_TRUE(metadata.GetField(0u)->GetLabel() == label);
  }
  EXPECT_LT(PeakMemory() - before, kMemoryPerInputByte * xml.size());
}

TEST(CFMetaDataHostileTest, MillionFieldElementsLoadInProportion) {
  const size_t count = 1000000;
  const std::string emptyField = MakeElement(XMLElements::Field, {});
  const std::string other = MakeElement(XMLElements::Value, {});
  struct Row {
    const char* what;
    std::string xml;
    unsigned int fields;
  } rows[] = {
      // A field without a name fails the whole load.
      {"empty fields", Document(Fields(Repeat(emptyField, count))), 0},
      // Elements that are not fields are passed over, however many there are.
      {"other elements", Document(Fields(Repeat(other, count) + Field("last"))), 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const size_t before = PeakMemory();
    {
      const CFMetaData metadata(row.xml, nullptr);
      EXPECT_EQ(row.fields, metadata.FieldCount());
    }
    EXPECT_LT(PeakMemory() - before, kMemoryPerInputByte * row.xml.size());
  }
}

TEST(CFMetaDataHostileTest, BytesThatAreNotTextLoadEmpty) {
  const std::string fieldStart =
      "<" + std::string(XMLElements::Field) + " " + XMLAttributes::Name + "=\"";
  const std::string labelStart = "\" " + std::string(XMLAttributes::DisplayLabel) + "=\"";
  auto document = [&](const std::string& name, const std::string& label) {
    return Document(Fields(fieldStart + name + labelStart + label + "\"/>"));
  };
  struct Row {
    const char* what;
    std::string xml;
    const char* name;  // null: the load fails
  } rows[] = {
      {"byte FF in a name", document("a\xff", "l"), nullptr},
      {"cut sequence in a label", document("a", "l\xc3"), nullptr},
      {"overlong slash", document("a\xc0\xaf", "l"), nullptr},
      {"encoded surrogate", document("a\xed\xa0\x80", "l"), nullptr},
      {"NUL inside a value", document("a", std::string("l\0m", 3)), nullptr},
      {"NUL as a reference", document("a", "&#0;"), nullptr},
      {"control character", document("a", "&#1;"), nullptr},
      {"NUL after the document", document("a", "l") + std::string("\0junk", 5), "a"},
      {"declared Latin-1",
       "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + document("caf\xe9", "l"), "caf\xc3\xa9"},
      {"valid UTF-8", document("caf\xc3\xa9 \xe6\x97\xa5", "l"), "caf\xc3\xa9 \xe6\x97\xa5"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const CFMetaData metadata(row.xml, nullptr);
    if (row.name == nullptr) {
      EXPECT_EQ(0u, metadata.FieldCount());
      continue;
    }
    ASSERT_EQ(1u, metadata.FieldCount());
    EXPECT_EQ(row.name, metadata.GetField(0u)->GetName());
  }
}

TEST(CFMetaDataHostileTest, NumbersAtTheEdgesOfTheirGrammars) {
  // Counts are doubles that must be finite; depths are integers that must not be negative;
  // integer values are 64-bit integers.
  struct Row {
    const char* text;
    double count;  // -2: the load fails
    int depth;     // -2: the load fails
    long long value;
    bool valueReads;
  } rows[] = {
      {"1e400", -2, -2, 0, false},  // beyond a double: infinite
      {"-0", 0, 0, 0, true},
      {"0x10", -2, -2, 0, false},
      {" 5", 5, 5, 5, true},
      {"5 ", 5, 5, 0, false},  // a double and an int collapse white space; a 64-bit value does not
      {"1e-400", 0, -2, 0, false},  // below a double: zero
      {"99999999999999999999", 1e20, -2, 0, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const CFMetaData withCounts(Document(Counts({{XMLAttributes::UnweightedCount, row.text},
                                                 {XMLAttributes::WeightedCount, "1"},
                                                 {XMLAttributes::DroppedCount, "0"}}) +
                                         Fields(Field("f"))),
                                nullptr);
    EXPECT_EQ(row.count, withCounts.FieldCount() == 1 ? withCounts.GetRecordCount(false) : -2);

    const CFMetaData withDepth(
        OneField(MakeElement(XMLElements::Field,
                             {{XMLAttributes::Name, "f"}, {XMLAttributes::Depth, row.text}})),
        nullptr);
    EXPECT_EQ(row.depth, withDepth.FieldCount() == 1 ? withDepth.GetField(0u)->GetDepth() : -2);

    const CFMetaData withValue(
        OneField(MakeElement(
            XMLElements::Field,
            {{XMLAttributes::Name, "f"},
             {XMLAttributes::Storage, XMLEntities::Integer},
             {XMLAttributes::Measure, XMLEntities::Nominal}},
            MakeElement(XMLElements::Values, {},
                        MakeElement(XMLElements::Value, {{XMLAttributes::Value, row.text}})))),
        nullptr);
    const bool read =
        withValue.FieldCount() == 1 && withValue.GetField(0u)->GetValues().size() == 1;
    EXPECT_EQ(row.valueReads, read);
    if (read) {
      EXPECT_EQ(row.value, withValue.GetField(0u)->GetValues()[0].GetValue().GetInt());
    }
  }
}

TEST(CFMetaDataHostileTest, HugeDecimalCountsLoadAndRenderBounded) {
  auto format = [](const char* type, const char* decimals) {
    return MakeElement(XMLElements::FieldFormats, {},
                       MakeElement(XMLElements::NumberFormat,
                                   {{XMLAttributes::Name, "n"},
                                    {XMLAttributes::Width, "8"},
                                    {XMLAttributes::FormatType, type},
                                    {XMLAttributes::DecimalPlaces, decimals},
                                    {XMLAttributes::DecimalSymbol, XMLEntities::Period},
                                    {XMLAttributes::GroupingSymbol, XMLEntities::None}}));
  };
  struct Row {
    const char* type;
    const char* decimals;
    int length;        // of 1.5 rendered; -1: the load fails
    const char* text;  // null: only the length is pinned
  } rows[] = {
      {XMLEntities::Standard, "2147483647", 8, "1.500000"},
      {XMLEntities::Scientific, "2147483647", 0, ""},  // more than a scientific text carries
      {XMLEntities::Scientific, "999", 1 + 1 + 999 + 5, nullptr},    // rendered in full
      {XMLEntities::Standard, "99999999999999999999", -1, nullptr},  // not an integer
      {XMLEntities::Standard, "-1", -1, nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.type) + " " + row.decimals);
    const CFMetaData metadata(Document(format(row.type, row.decimals) + Fields(Field("f"))),
                              nullptr);
    if (row.length < 0) {
      EXPECT_EQ(0u, metadata.FieldCount());
      continue;
    }
    ASSERT_EQ(1u, metadata.FieldCount());
    const CFFormat* shared = metadata.GetSharedFormat(0u);
    ASSERT_NE(nullptr, shared);
    std::string out;
    shared->Format(CFDatum(1.5), CFFormat::NoUnits, out);
    EXPECT_EQ(static_cast<size_t>(row.length), out.size());
    if (row.text != nullptr) {
      EXPECT_EQ(row.text, out);
    }
    // What is written reads back with the same count.
    std::string exported;
    ASSERT_TRUE(metadata.ExportXMLDoc(exported));
    const CFMetaData reread(exported, nullptr);
    ASSERT_EQ(1u, reread.SharedFormatCount());
    EXPECT_EQ(static_cast<const CFNumberFormat*>(shared)->GetDecimals(),
              static_cast<const CFNumberFormat*>(reread.GetSharedFormat(0u))->GetDecimals());
  }
}

}  // namespace
