#include "cfmeta/metadata/cfmetadata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/metadata/cfmetadata_testutil.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
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
using cfmeta_test::NumberFormat;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

class UpperCase : public CFUpperFunc {
 public:
  std::string operator()(const std::string& name) const override {
    std::string out = name;
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return out;
  }
};

std::string ReadFile(const std::string& name) {
  std::string path = std::string(CFMETA_TESTDATA_DIR) + "/" + name;
  return CfExtension::CFXMLWrapper::loadStringFromFile(path.c_str());
}

void ExpectEmpty(const CFMetaData& meta) {
  EXPECT_EQ(0u, meta.FieldCount());
  EXPECT_EQ(0u, meta.SharedFormatCount());
  EXPECT_EQ(-1.0, meta.GetRecordCount(false));
  EXPECT_EQ(-1.0, meta.GetRecordCount(true));
  EXPECT_EQ(-1.0, meta.GetDroppedCount());
  EXPECT_EQ(nullptr, meta.GetDefaultFormat(CFField::RealStorage));
}

TEST(CFMetaDataTest, DamagedDocumentsLoadEmpty) {
  const std::string formats = MakeElement(
      XMLElements::FieldFormats, {{XMLAttributes::DefaultNumberFormat, "F"}}, NumberFormat("F"));
  const std::string counts = Counts({{XMLAttributes::UnweightedCount, "10"},
                                     {XMLAttributes::WeightedCount, "10"},
                                     {XMLAttributes::DroppedCount, "0"}});
  const std::string rows[] = {
      "",
      "<" + std::string(XMLElements::DataModel) + ">",                     // not well-formed
      Document(formats + counts),                                          // no fields element
      Document(Fields(Field("A") + MakeElement(XMLElements::Field, {}))),  // a nameless field
      Document(Fields(Field("A", "binary"))),                              // unknown storage
      Document(MakeElement(XMLElements::FieldFormats, {{XMLAttributes::DefaultDateFormat, "F"}},
                           NumberFormat("F")) +
               Fields(Field("A"))),  // a number format in the date slot
      Document(MakeElement(XMLElements::FieldFormats,
                           {{XMLAttributes::DefaultNumberFormat, "Nope"}}, NumberFormat("F")) +
               Fields(Field("A"))),  // an unknown default
      Document(MakeElement(XMLElements::FieldFormats, {}, NumberFormat("F", 0)) +
               Fields(Field("A"))),                        // an unreadable shared format
      Document(counts + Fields(Field("A") + Field("A"))),  // a duplicate name
      Document(Counts({{XMLAttributes::UnweightedCount, "10"},
                       {XMLAttributes::WeightedCount, "INF"},
                       {XMLAttributes::DroppedCount, "0"}}) +
               Fields(Field("A"))),
      Document(
          Counts({{XMLAttributes::UnweightedCount, "10"}, {XMLAttributes::WeightedCount, "10"}}) +
          Fields(Field("A"))),  // dropped count missing
      Document(Counts({{XMLAttributes::UnweightedCount, "10"},
                       {XMLAttributes::WeightedCount, "10"},
                       {XMLAttributes::DroppedCount, "0"},
                       {"weightedDroppedCount", "INF"}}) +
               Fields(Field("A"))),
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    CFMetaData meta(xml, nullptr);
    ExpectEmpty(meta);
  }
}

TEST(CFMetaDataTest, FieldsWithoutFieldChildrenKeepFormatsAndCounts) {
  CFMetaData meta(
      Document(Counts({{XMLAttributes::UnweightedCount, "10"},
                       {XMLAttributes::WeightedCount, "12.5"},
                       {XMLAttributes::DroppedCount, "2"}}) +
               MakeElement(XMLElements::FieldFormats, {{XMLAttributes::DefaultNumberFormat, "F"}},
                           NumberFormat("F")) +
               Fields("")),
      nullptr);
  EXPECT_EQ(0u, meta.FieldCount());
  ASSERT_EQ(1u, meta.SharedFormatCount());
  EXPECT_EQ(meta.GetSharedFormat(0u), meta.GetDefaultFormat(CFField::IntegerStorage));
  EXPECT_EQ(10.0, meta.GetRecordCount(false));
  EXPECT_EQ(12.5, meta.GetRecordCount(true));
  EXPECT_EQ(2.0, meta.GetDroppedCount());
  std::string out = "untouched";
  EXPECT_FALSE(meta.ExportXMLDoc(out));
  EXPECT_EQ("untouched", out);
}

TEST(CFMetaDataTest, FoldingDecidesWhatCountsAsTheSameName) {
  const std::string xml = Document(Fields(Field("Age") + Field("AGE") + Field("Income")));
  UpperCase upper;
  CFMetaData folded(xml, &upper);
  EXPECT_EQ(0u, folded.FieldCount());
  EXPECT_FALSE(folded.IsCaseSensitive());

  CFMetaData exact(xml, nullptr);
  ASSERT_EQ(3u, exact.FieldCount());
  EXPECT_EQ(1, exact.GetFieldIndex("AGE"));
  EXPECT_EQ(-1, exact.GetFieldIndex("income"));
  EXPECT_EQ(nullptr, exact.GetField(exact.FieldCount()));

  CFMetaData single(Document(Fields(Field("Age") + Field("Income"))), &upper);
  ASSERT_EQ(2u, single.FieldCount());
  EXPECT_EQ(1, single.GetFieldIndex("income"));
  ASSERT_NE(nullptr, single.GetField("iNCOME"));
  EXPECT_EQ("Income", single.GetField("iNCOME")->GetName());
  // Appending a name that folds onto an existing key is refused.
  CFMetaData source(Document(Fields(Field("age"))), nullptr);
  EXPECT_EQ(-1, single.AppendField(*source.GetField(0u)));
  EXPECT_EQ(2u, single.FieldCount());
  // A copy folds names too.
  CFMetaData copy(single);
  EXPECT_EQ(0, copy.GetFieldIndex("AGE"));
}

TEST(CFMetaDataTest, CountRulesKeepTheirAsymmetries) {
  struct Row {
    std::string unweighted, weighted, dropped, bad, weightedDropped;
    double expectUnweighted, expectWeighted, expectDropped, expectBad, expectWeightedDropped;
  };
  const Row rows[] = {
      {"10", "12.5", "3", "", "", 10, 12.5, 3, -1, -1},
      {"10.5", "12", "3", "", "", -1, -1, 3, -1, -1},  // a fractional unweighted count
      {"-4", "7", "2.5", "", "", -1, 7, -1, -1, -1},   // negative, and a fractional drop
      {"10", "10", "0", "-5", "2.5", 10, 10, 0, -1, 2.5},
      {"10", "10", "0", "1.5", "-3", 10, 10, 0, -1, -1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.unweighted + " " + row.weighted + " " + row.dropped + " " + row.bad);
    std::string counts = "<" + std::string(XMLElements::RecordCounts) + " " +
                         XMLAttributes::UnweightedCount + "=\"" + row.unweighted + "\" " +
                         XMLAttributes::WeightedCount + "=\"" + row.weighted + "\" " +
                         XMLAttributes::DroppedCount + "=\"" + row.dropped + "\"";
    if (!row.bad.empty()) counts += " badWeightCount=\"" + row.bad + "\"";
    if (!row.weightedDropped.empty()) {
      counts += " weightedDroppedCount=\"" + row.weightedDropped + "\"";
    }
    counts += "/>";
    CFMetaData meta(Document(counts + Fields(Field("A"))), nullptr);
    ASSERT_EQ(1u, meta.FieldCount());
    EXPECT_EQ(row.expectUnweighted, meta.GetRecordCount(false));
    EXPECT_EQ(row.expectWeighted, meta.GetRecordCount(true));
    EXPECT_EQ(row.expectDropped, meta.GetDroppedCount());
    double bad = 0, weightedDropped = 0;
    meta.GetDroppedDetails(bad, weightedDropped);
    EXPECT_EQ(row.expectBad, bad);
    EXPECT_EQ(row.expectWeightedDropped, weightedDropped);
  }

  CFMetaData meta;
  meta.SetRecordCounts(10, 3);
  meta.SetRecordCounts(10.5, 4);  // refused as a whole
  EXPECT_EQ(10.0, meta.GetRecordCount(false));
  EXPECT_EQ(3.0, meta.GetRecordCount(true));
  meta.SetDroppedDetails(4, 1);
  meta.SetDroppedDetails(2.5, -3);  // the bad-weight count stays, the other becomes unknown
  double bad = 0, weightedDropped = 0;
  meta.GetDroppedDetails(bad, weightedDropped);
  EXPECT_EQ(4.0, bad);
  EXPECT_EQ(-1.0, weightedDropped);
}

TEST(CFMetaDataTest, ExportWritesCountsOnlyWhenOneIsKnown) {
  CFMetaData source(Document(Fields(Field("A"))), nullptr);
  ASSERT_EQ(1u, source.FieldCount());

  CFMetaData none;
  none.AppendField(*source.GetField(0u));
  std::string out;
  ASSERT_TRUE(none.ExportXMLDoc(out));
  EXPECT_EQ(std::string::npos, out.find(XMLElements::RecordCounts));
  EXPECT_NE(std::string::npos, out.find(std::string(XMLAttributes::Count) + "=\"1\""));
  EXPECT_NE(std::string::npos,
            out.find(std::string(XMLAttributes::CaseSensitive) + "=\"" + XMLEntities::True + "\""));

  CFMetaData droppedOnly(none);
  droppedOnly.SetDroppedCount(5);
  ASSERT_TRUE(droppedOnly.ExportXMLDoc(out));
  // Attribute order is the serialiser's; read the element back to see what was written.
  auto doc = cfmeta_test::Parse(out);
  CfExtension::CFXMLIteratorWrapper* it = nullptr;
  ASSERT_EQ(0, doc->getElementDirectIterator(XMLElements::RecordCounts, &it));
  CfExtension::CFXMLWrapper* counts = it->nextElement();
  ASSERT_NE(nullptr, counts);
  for (const char* name : {XMLAttributes::UnweightedCount, XMLAttributes::WeightedCount,
                           XMLAttributes::DroppedCount}) {
    std::string value;
    bool found = false;
    counts->getAttribute(name, value, found);
    EXPECT_TRUE(found) << name;
    EXPECT_EQ(name == XMLAttributes::DroppedCount ? "5" : "-1", value) << name;
  }
  int present = 1;
  counts->hasAttribute("badWeightCount", &present);
  EXPECT_EQ(0, present);
  CFMetaData reread(out, nullptr);
  EXPECT_EQ(5.0, reread.GetDroppedCount());
  EXPECT_EQ(-1.0, reread.GetRecordCount(false));
}

TEST(CFMetaDataTest, DefaultFormatAttributesFollowSlotOrder) {
  CFMetaData meta;
  CFNumberFormat money(CFNumberFormat::Standard, 12, 2);
  money.SetName("Money");
  ASSERT_EQ(0, meta.AddSharedFormat(money));
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::DateStorage, "Money"));  // does not suit dates
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::UnknownStorage, "Money"));
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::RealStorage, "money"));  // never folded
  EXPECT_EQ(0, meta.SetDefaultFormat(CFField::IntegerStorage, "Money"));
  EXPECT_EQ(meta.GetSharedFormat("Money"), meta.GetDefaultFormat(CFField::RealStorage));

  CFNumberFormat empty;
  EXPECT_EQ(-1, meta.AddSharedFormat(empty));
  CFNumberFormat nameless(CFNumberFormat::Standard, 8, 0);
  EXPECT_EQ(-1, meta.AddSharedFormat(nameless));

  // A replacement under the same name keeps the index and the slot it still fits.
  CFNumberFormat wider(CFNumberFormat::Standard, 20, 4);
  wider.SetName("Money");
  EXPECT_EQ(0, meta.AddSharedFormat(wider));
  ASSERT_NE(nullptr, meta.GetDefaultFormat(CFField::RealStorage));
  EXPECT_EQ(20, meta.GetDefaultFormat(CFField::RealStorage)->GetWidth());
}

TEST(CFMetaDataTest, ValidateXMLCharsAcceptsOnlyWhatXMLCarries) {
  EXPECT_TRUE(CFMetaData::ValidateXMLChars(""));
  EXPECT_TRUE(CFMetaData::ValidateXMLChars("tab\there\nline\rreturn"));
  EXPECT_TRUE(CFMetaData::ValidateXMLChars("caf\xC3\xA9 \xFF"));
  EXPECT_FALSE(CFMetaData::ValidateXMLChars("unit\x1Fseparator"));
  EXPECT_FALSE(CFMetaData::ValidateXMLChars(std::string("a\x01", 2)));
  EXPECT_TRUE(CFMetaData::ValidateXMLChars(std::string("nul\0inside", 10)));
}

// Text given through the interface that a document cannot carry: bytes that are not UTF-8
// are written as U+FFFD, a NUL ends the text, and a control character fails the export.
TEST(CFMetaDataTest, ExportWritesOnlyWhatXMLCarries) {
  const CFMetaData source(Document(Fields(Field("f"))), nullptr);
  ASSERT_EQ(1u, source.FieldCount());
  struct Row {
    std::string name;
    std::string label;
    const char* nameRead;  // null: the export fails
    const char* labelRead;
  } rows[] = {
      {"a\xff", "b\xc3", "a\xef\xbf\xbd", "b\xef\xbf\xbd"},
      {"n", std::string("x\0y", 3), "n", "x"},
      {"n", "x\x01y", nullptr, nullptr},
      {"n\x1f", "x", nullptr, nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    CFField field(*source.GetField(0u));
    field.SetName(row.name);
    field.SetLabel(row.label);
    CFMetaData metadata(nullptr);
    ASSERT_EQ(0, metadata.AppendField(field));
    std::string out = "unchanged";
    const bool wrote = metadata.ExportXMLDoc(out);
    if (row.nameRead == nullptr) {
      EXPECT_FALSE(wrote);
      EXPECT_EQ("unchanged", out);
      continue;
    }
    ASSERT_TRUE(wrote);
    const CFMetaData reread(out, nullptr);
    ASSERT_EQ(1u, reread.FieldCount());
    EXPECT_EQ(row.nameRead, reread.GetField(0u)->GetName());
    EXPECT_EQ(row.labelRead, reread.GetField(0u)->GetLabel());
  }

  // An XML 1.1 document may carry a control character that no exported document can.
  const std::string xml11 =
      "<?xml version=\"1.1\"?>" +
      Document(Fields("<" + std::string(XMLElements::Field) + " " + XMLAttributes::Name +
                      "=\"f\" " + XMLAttributes::DisplayLabel + "=\"&#1;\"/>"));
  const CFMetaData loaded(xml11, nullptr);
  ASSERT_EQ(1u, loaded.FieldCount());
  EXPECT_EQ("\x01", loaded.GetField(0u)->GetLabel());
  std::string out = "unchanged";
  EXPECT_FALSE(loaded.ExportXMLDoc(out));
  EXPECT_EQ("unchanged", out);
}

TEST(CFMetaDataTest, SumStatsSurviveExportAndLoad) {
  CFMetaData meta(Document(Fields(Field("Region", XMLEntities::String) +
                                  Field("Income", XMLEntities::Real, XMLEntities::Continuous))),
                  nullptr);
  ASSERT_EQ(2u, meta.FieldCount());
  CFCatStatsStr regions;
  regions.Update("north", 2.0);
  regions.Update("south", 0.5);
  CFContStatsDbl income;
  for (double x : {1.0, 2.0, 3.0}) income.Update(x, 2.0, 1.0);

  EXPECT_FALSE(meta.SetSumStats(2, &regions));  // out of range
  EXPECT_FALSE(meta.SetSumStats(2, &income));
  EXPECT_FALSE(meta.SetSumStats(0, &income));  // a nominal field takes no continuous statistics
  CFCatStatsInt codes;
  codes.Update(1, 1.0);
  EXPECT_FALSE(meta.SetSumStats(0, &codes));  // integers for a string field
  ASSERT_TRUE(meta.SetSumStats(0, &regions));
  ASSERT_TRUE(meta.SetSumStats(1, &income));

  std::string exported;
  ASSERT_TRUE(meta.ExportXMLDoc(exported));
  CFMetaData loaded(exported, nullptr);
  ASSERT_EQ(2u, loaded.FieldCount());
  const CFCatStats* cats = loaded.GetField(0u)->GetCatStats();
  ASSERT_NE(nullptr, cats);
  ASSERT_EQ(2u, cats->GetNCats());
  EXPECT_STREQ("north", cats->GetCatValDatum(0).GetString());
  EXPECT_EQ(2.0, cats->GetCatWeight(0));
  EXPECT_STREQ("south", cats->GetCatValDatum(1).GetString());
  EXPECT_EQ(0.5, cats->GetCatWeight(1));
  const CFContStats* cont = loaded.GetField(1u)->GetContStats();
  ASSERT_NE(nullptr, cont);
  EXPECT_EQ(std::make_pair(1.0, 3.0), cont->GetExtrema());
  EXPECT_DOUBLE_EQ(2.0, cont->GetMean());
  EXPECT_DOUBLE_EQ(income.GetVariance(), cont->GetVariance());
  EXPECT_EQ(6.0, cont->GetSumFreqWeights());

  // Copies of the metadata carry their own statistics.
  CFMetaData copy(loaded);
  EXPECT_NE(cats, copy.GetField(0u)->GetCatStats());
  ASSERT_TRUE(loaded.SetSumStats(0, static_cast<const CFCatStats*>(nullptr)));
  EXPECT_EQ(nullptr, loaded.GetField(0u)->GetCatStats());
  EXPECT_NE(nullptr, copy.GetField(0u)->GetCatStats());
}

TEST(CFMetaDataTest, SampleDocumentsRoundTrip) {
  for (const char* name : {"survey.xml", "retail.xml"}) {
    SCOPED_TRACE(name);
    std::string text = ReadFile(name);
    ASSERT_FALSE(text.empty());
    CFMetaData first(text, nullptr);
    ASSERT_GT(first.FieldCount(), 0u);
    std::string exported;
    ASSERT_TRUE(first.ExportXMLDoc(exported));
    CFMetaData second(exported, nullptr);
    ASSERT_EQ(first.FieldCount(), second.FieldCount());
    for (unsigned int i = 0; i < first.FieldCount(); ++i) {
      const CFField* a = first.GetField(i);
      const CFField* b = second.GetField(i);
      EXPECT_EQ(a->GetName(), b->GetName());
      EXPECT_EQ(a->GetType(), b->GetType());
      EXPECT_EQ(a->GetStorage(), b->GetStorage());
      EXPECT_EQ(a->GetRole(), b->GetRole());
      EXPECT_EQ(a->GetLabel(), b->GetLabel());
      EXPECT_EQ(a->GetValues().size(), b->GetValues().size());
      EXPECT_EQ(a->GetValueLabels().size(), b->GetValueLabels().size());
      EXPECT_EQ(a->GetFormatReference(), b->GetFormatReference());
      EXPECT_EQ(a->GetPrivateFormat() == nullptr, b->GetPrivateFormat() == nullptr);
    }
    ASSERT_EQ(first.SharedFormatCount(), second.SharedFormatCount());
    for (unsigned int i = 0; i < first.SharedFormatCount(); ++i) {
      EXPECT_EQ(first.GetSharedFormat(i)->GetName(), second.GetSharedFormat(i)->GetName());
      EXPECT_EQ(first.GetSharedFormat(i)->GetWidth(), second.GetSharedFormat(i)->GetWidth());
    }
    for (CFField::StorageType storage : {CFField::RealStorage, CFField::StringStorage,
                                         CFField::DateStorage, CFField::TimeStorage}) {
      const CFFormat* a = first.GetDefaultFormat(storage);
      const CFFormat* b = second.GetDefaultFormat(storage);
      EXPECT_EQ(a == nullptr, b == nullptr);
      if (a != nullptr && b != nullptr) {
        EXPECT_EQ(a->GetName(), b->GetName());
      }
    }
    EXPECT_EQ(first.GetRecordCount(false), second.GetRecordCount(false));
    EXPECT_EQ(first.GetRecordCount(true), second.GetRecordCount(true));
    EXPECT_EQ(first.GetDroppedCount(), second.GetDroppedCount());
    std::string again;
    ASSERT_TRUE(second.ExportXMLDoc(again));
    EXPECT_EQ(exported, again);
  }
}

}  // namespace
