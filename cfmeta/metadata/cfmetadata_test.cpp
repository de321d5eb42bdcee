#include "cfmeta/metadata/cfmetadata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/format/cfdateformat.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/format/cfstringformat.h"
#include "cfmeta/metadata/cfmetadata_testutil.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/summaries/cfdatasetsummaries.h"
#include "cfmeta/summaries/cfdistributionsummary.h"
#include "cfmeta/summaries/cffieldsummaries.h"
#include "cfmeta/summaries/cfstatisticsext.h"
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

// The unweighted, weighted and dropped counts, then the bad-weight and weighted dropped ones.
std::vector<double> CountsOf(const CFMetaData& meta) {
  double bad = 0, weightedDropped = 0;
  meta.GetDroppedDetails(bad, weightedDropped);
  return {meta.GetRecordCount(false), meta.GetRecordCount(true), meta.GetDroppedCount(), bad,
          weightedDropped};
}

void ExpectEmpty(const CFMetaData& meta) {
  EXPECT_EQ(0u, meta.FieldCount());
  EXPECT_EQ(0u, meta.SharedFormatCount());
  EXPECT_EQ((std::vector<double>{-1, -1, -1, -1, -1}), CountsOf(meta));
  EXPECT_EQ(nullptr, meta.GetDefaultFormat(CFField::RealStorage));
  EXPECT_EQ(nullptr, meta.getDatasetSummaries());
}

// A field built in code, for tests that need one but do not test reading it.
CFField NominalField(const std::string& name) {
  return CFField(name, CFField::IntegerStorage, CFField::Nominal);
}

std::string SummariesOf(const std::string& fieldName, const std::string& current = "") {
  return MakeElement(
      XMLElements::DatasetSummaries, {},
      MakeElement(XMLElements::FieldSummaries, {},
                  MakeElement(XMLElements::FieldSummary, {{XMLAttributes::FieldName, fieldName}},
                              MakeElement(XMLElements::ContinuousStatisticsExt,
                                          {{XMLAttributes::Mean, "2"}}))) +
          (current.empty()
               ? ""
               : MakeElement(XMLElements::OverallSummaries, {{XMLAttributes::current, current}})));
}

// Every damaged document loads empty and says why: malformed XML by line, anything else by the
// path of the element at fault and the rule it broke.
TEST(CFMetaDataTest, DamagedDocumentsLoadEmptyAndSayWhy) {
  const std::string formats = MakeElement(
      XMLElements::FieldFormats, {{XMLAttributes::DefaultNumberFormat, "F"}}, NumberFormat("F"));
  const std::string counts = Counts({{XMLAttributes::UnweightedCount, "10"},
                                     {XMLAttributes::WeightedCount, "10"},
                                     {XMLAttributes::DroppedCount, "0"}});
  const std::string root = std::string("/") + XMLElements::DataModel;
  const std::string field = root + "/" + XMLElements::Fields + "/" + XMLElements::Field;
  const auto values = [](const std::string& text) {
    return MakeElement(XMLElements::Values, {},
                       MakeElement(XMLElements::Value, {{XMLAttributes::Value, "1"}}) +
                           MakeElement(XMLElements::Value, {{XMLAttributes::Value, text}}));
  };
  const auto fieldWith = [](const char* storage, const char* measure, const std::string& child) {
    return Document(Fields(MakeElement(XMLElements::Field,
                                       {{XMLAttributes::Name, "A"},
                                        {XMLAttributes::Storage, storage},
                                        {XMLAttributes::Measure, measure}},
                                       child)));
  };
  struct Row {
    std::string xml;
    CFLoadError::Kind kind;
    int line;          // malformed XML
    std::string path;  // the rest
    std::string rule;  // a part of the message
  } rows[] = {
      {"", CFLoadError::MalformedXML, 1, "", ""},
      {"<" + std::string(XMLElements::DataModel) + ">", CFLoadError::MalformedXML, 1, "", ""},
      {Document("\n" + Fields("") + "\n<a>\n"), CFLoadError::MalformedXML, 4, "", ""},
      {Document(formats + counts), CFLoadError::NotMetadata, 0, root, XMLElements::Fields},
      {MakeElement("Catalog", {}, MakeElement("Book", {})), CFLoadError::NotMetadata, 0, "/Catalog",
       XMLElements::Fields},
      {Document(Fields(Field("A") + MakeElement(XMLElements::Field, {}))), CFLoadError::BrokenRule,
       0, field + "[2]", std::string(XMLAttributes::Name) + " must be"},
      {Document(Fields(Field("A", "binary"))), CFLoadError::BrokenRule, 0, field,
       "'binary' is no known " + std::string(XMLAttributes::Storage)},
      {Document(MakeElement(XMLElements::FieldFormats, {{XMLAttributes::DefaultDateFormat, "F"}},
                            NumberFormat("F")) +
                Fields(Field("A"))),
       CFLoadError::BrokenRule, 0, root + "/" + XMLElements::FieldFormats,
       XMLAttributes::DefaultDateFormat + std::string(" 'F' names no shared format")},
      {Document(MakeElement(XMLElements::FieldFormats,
                            {{XMLAttributes::DefaultNumberFormat, "Nope"}}, NumberFormat("F")) +
                Fields(Field("A"))),
       CFLoadError::BrokenRule, 0, root + "/" + XMLElements::FieldFormats, "'Nope'"},
      {Document(MakeElement(XMLElements::FieldFormats, {}, NumberFormat("F", 0)) +
                Fields(Field("A"))),
       CFLoadError::BrokenRule, 0,
       root + "/" + XMLElements::FieldFormats + "/" + XMLElements::NumberFormat,
       std::string(XMLAttributes::Width) + " must be given and not 0"},
      {Document(counts + Fields(Field("A") + Field("A"))), CFLoadError::BrokenRule, 0,
       field + "[2]", "duplicate field name 'A'"},
      {Document(Counts({{XMLAttributes::UnweightedCount, "10"},
                        {XMLAttributes::WeightedCount, "INF"},
                        {XMLAttributes::DroppedCount, "0"}}) +
                Fields(Field("A"))),
       CFLoadError::BrokenRule, 0, root + "/" + XMLElements::RecordCounts,
       XMLAttributes::WeightedCount + std::string(" must be given as a finite number")},
      {Document(
           Counts({{XMLAttributes::UnweightedCount, "10"}, {XMLAttributes::WeightedCount, "10"}}) +
           Fields(Field("A"))),
       CFLoadError::BrokenRule, 0, root + "/" + XMLElements::RecordCounts,
       XMLAttributes::DroppedCount},
      {Document(Counts({{XMLAttributes::UnweightedCount, "10"},
                        {XMLAttributes::WeightedCount, "10"},
                        {XMLAttributes::DroppedCount, "0"},
                        {"weightedDroppedCount", "INF"}}) +
                Fields(Field("A"))),
       CFLoadError::BrokenRule, 0, root + "/" + XMLElements::RecordCounts, "weightedDroppedCount"},
      {fieldWith(XMLEntities::Integer, XMLEntities::Nominal, values("seven")),
       CFLoadError::BrokenRule, 0,
       field + "/" + XMLElements::Values + "/" + XMLElements::Value + "[2]",
       "value 'seven' is not an integer"},
      {fieldWith(XMLEntities::Date, XMLEntities::Continuous,
                 MakeElement(XMLElements::FieldFormat, {}, NumberFormat("F"))),
       CFLoadError::BrokenRule, 0,
       field + "/" + XMLElements::FieldFormat + "/" + XMLElements::NumberFormat,
       std::string("does not suit ") + XMLEntities::Date + " storage"},
      {fieldWith(XMLEntities::Integer, XMLEntities::Nominal,
                 MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, "1"}})),
       CFLoadError::BrokenRule, 0, field + "/" + XMLElements::Range, "allowed only in"},
      {Document(
           MakeElement(XMLElements::FieldFormats, {}, MakeElement(XMLElements::FieldGroups, {})) +
           Fields(Field("A"))),
       CFLoadError::BrokenRule, 0,
       root + "/" + XMLElements::FieldFormats + "/" + XMLElements::FieldGroups,
       "is no display format"},
      {Document(
           MakeElement(XMLElements::FieldGroups, {},
                       MakeElement(XMLElements::FieldGroup, {{XMLAttributes::GroupType, "cluster"},
                                                             {XMLAttributes::Name, "G"}})) +
           Fields(Field("A"))),
       CFLoadError::BrokenRule, 0,
       root + "/" + XMLElements::FieldGroups + "/" + XMLElements::FieldGroup,
       "'cluster' is no known " + std::string(XMLAttributes::GroupType)},
      {Document(Fields(Field("age")) + SummariesOf("")), CFLoadError::BrokenRule, 0,
       root + "/" + XMLElements::DatasetSummaries + "/" + XMLElements::FieldSummaries + "/" +
           XMLElements::FieldSummary,
       std::string(XMLAttributes::FieldName) + " must be given and not empty"},
      {Document(Fields(Field("age")) + SummariesOf("age", "TRUE")), CFLoadError::BrokenRule, 0,
       root + "/" + XMLElements::DatasetSummaries + "/" + XMLElements::OverallSummaries,
       std::string(XMLAttributes::current) + " must be"},
      {Document(Fields(MakeElement(XMLElements::Field,
                                   {{XMLAttributes::Name, "A"}, {XMLAttributes::Depth, "-1"}}))),
       CFLoadError::BrokenRule, 0, field,
       std::string(XMLAttributes::Depth) + " must not be negative"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    std::ostringstream messages;
    CFMetaData meta(row.xml, nullptr, &messages);
    ExpectEmpty(meta);
    const CFLoadError& error = meta.GetLoadError();
    EXPECT_EQ(row.kind, error.kind);
    EXPECT_EQ(row.line, error.line);
    EXPECT_EQ(row.path, error.path);
    EXPECT_NE(std::string::npos, error.message.find(row.rule)) << error.message;
    EXPECT_FALSE(error.message.empty());
    // Only a text that does not parse makes the XML layer say anything.
    EXPECT_EQ(row.kind == CFLoadError::MalformedXML, !messages.str().empty());
  }
  // A load that succeeds has nothing to say; a copy carries the reason along.
  EXPECT_EQ(CFLoadError::NoError,
            CFMetaData(Document(Fields(Field("A"))), nullptr).GetLoadError().kind);
  const CFMetaData failed(Document(""), nullptr, nullptr);
  EXPECT_EQ(root, CFMetaData(failed).GetLoadError().path);
}

// The XML layer's messages go to standard output unless the caller chooses another stream, or
// none.
TEST(CFMetaDataTest, MessagesGoWhereTheCallerSays) {
  const std::string malformed = "<" + std::string(XMLElements::DataModel) + ">";
  std::ostringstream captured;
  std::streambuf* const saved = std::cout.rdbuf(captured.rdbuf());
  { CFMetaData meta(malformed, nullptr); }
  const std::string byDefault = captured.str();
  captured.str("");
  { CFMetaData meta(malformed, nullptr, nullptr); }
  const std::string silenced = captured.str();
  std::ostringstream own;
  CFMetaData meta(Document(Fields(Field("A"))), nullptr, &own);
  CFField field = NominalField("A");
  field.SetLabel("x\x01y");
  ASSERT_EQ(0, meta.ReplaceField(0u, &field));
  std::string out;
  EXPECT_FALSE(meta.ExportXMLDoc(out));
  // Exports follow a later choice, and a copy keeps it.
  CFMetaData copy(meta);
  copy.SetMessageStream(nullptr);
  EXPECT_FALSE(copy.ExportXMLDoc(out));
  const std::string afterSilencing = captured.str();
  std::ostringstream other;
  copy.SetMessageStream(&other);
  EXPECT_FALSE(CFMetaData(copy).ExportXMLDoc(out));
  std::cout.rdbuf(saved);

  EXPECT_EQ("Caught unknown exception\n", byDefault);
  EXPECT_EQ("", silenced);
  EXPECT_EQ(0u, own.str().find("Caught DOM Exception ")) << own.str();
  EXPECT_EQ(std::string::npos, own.str().find('\n', own.str().find('\n') + 1)) << own.str();
  EXPECT_EQ("", afterSilencing);
  EXPECT_EQ(0u, other.str().find("Caught DOM Exception ")) << other.str();
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
  EXPECT_EQ((std::vector<double>{10, 12.5, 2, -1, -1}), CountsOf(meta));
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
  EXPECT_EQ(-1, single.AppendField(NominalField("age")));
  EXPECT_EQ(2u, single.FieldCount());
  // A copy folds names too.
  CFMetaData copy(single);
  EXPECT_EQ(0, copy.GetFieldIndex("AGE"));
}

TEST(CFMetaDataTest, CountRulesKeepTheirAsymmetries) {
  struct Row {
    std::string unweighted, weighted, dropped, bad, weightedDropped;  // empty: not written
    std::vector<double> read;
  };
  const Row rows[] = {
      {"10", "12.5", "3", "", "", {10, 12.5, 3, -1, -1}},
      {"10.5", "12", "3", "", "", {-1, -1, 3, -1, -1}},  // a fractional unweighted count
      {"-4", "7", "2.5", "", "", {-1, 7, -1, -1, -1}},   // negative, and a fractional drop
      {"10", "10", "0", "-5", "2.5", {10, 10, 0, -1, 2.5}},
      {"10", "10", "0", "1.5", "-3", {10, 10, 0, -1, -1}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.unweighted + " " + row.weighted + " " + row.dropped + " " + row.bad);
    cfmeta_test::AttributeList counts = {{XMLAttributes::UnweightedCount, row.unweighted},
                                         {XMLAttributes::WeightedCount, row.weighted},
                                         {XMLAttributes::DroppedCount, row.dropped}};
    if (!row.bad.empty()) counts.emplace_back("badWeightCount", row.bad);
    if (!row.weightedDropped.empty())
      counts.emplace_back("weightedDroppedCount", row.weightedDropped);
    CFMetaData meta(
        Document(cfmeta_test::ElementOf(XMLElements::RecordCounts, counts) + Fields(Field("A"))),
        nullptr);
    ASSERT_EQ(1u, meta.FieldCount());
    EXPECT_EQ(row.read, CountsOf(meta));
  }

  CFMetaData meta;
  meta.SetRecordCounts(10, 3);
  meta.SetRecordCounts(10.5, 4);  // refused as a whole
  EXPECT_EQ((std::vector<double>{10, 3, -1, -1, -1}), CountsOf(meta));
  meta.SetRecordCounts(-4, 3.5);  // only the unweighted count is tested for wholeness
  meta.SetDroppedCount(7);
  meta.SetDroppedCount(2.5);
  meta.SetDroppedDetails(4, 1);
  meta.SetDroppedDetails(2.5, -3);  // the bad-weight count stays, the other becomes unknown
  EXPECT_EQ((std::vector<double>{-1, 3.5, 7, 4, -1}), CountsOf(meta));
}

TEST(CFMetaDataTest, ExportWritesCountsOnlyWhenOneIsKnown) {
  CFMetaData none;
  ASSERT_EQ(0, none.AppendField(NominalField("A")));
  std::string out = cfmeta_test::ExpectRoundTrip(none);
  EXPECT_EQ(std::string::npos, out.find(XMLElements::RecordCounts));
  EXPECT_NE(std::string::npos, out.find(std::string(XMLAttributes::Count) + "=\"1\""));
  EXPECT_NE(std::string::npos,
            out.find(std::string(XMLAttributes::CaseSensitive) + "=\"" + XMLEntities::True + "\""));

  // One known count, even 0, writes all three, the others as unknown; the details only when
  // known.
  const char* const names[] = {XMLAttributes::UnweightedCount, XMLAttributes::WeightedCount,
                               XMLAttributes::DroppedCount};
  for (int known = 0; known < 3; ++known) {
    SCOPED_TRACE(names[known]);
    CFMetaData one(none);
    one.SetRecordCounts(known == 0 ? 0 : -1, known == 1 ? 0 : -1);
    one.SetDroppedCount(known == 2 ? 0 : -1);
    out = cfmeta_test::ExpectRoundTrip(one);
    for (int i = 0; i < 3; ++i) {
      EXPECT_NE(std::string::npos,
                out.find(std::string(" ") + names[i] + "=\"" + (i == known ? "0" : "-1") + "\""));
    }
    EXPECT_EQ(std::string::npos, out.find("badWeightCount"));
  }
}

// A field shows its values through its private format, else the shared format it names, else
// the default for its storage.
TEST(CFMetaDataTest, DisplayFormatFallsBackFromPrivateToSharedToDefault) {
  const auto withFormat = [](const std::string& name, const char* storage,
                             const std::string& format) {
    return MakeElement(XMLElements::Field,
                       {{XMLAttributes::Name, name}, {XMLAttributes::Storage, storage}}, format);
  };
  const auto named = [](const std::string& shared) {
    return MakeElement(XMLElements::FieldFormat, {{XMLAttributes::UseNamedFormat, shared}});
  };
  CFMetaData meta(
      Document(MakeElement(XMLElements::FieldFormats, {{XMLAttributes::DefaultNumberFormat, "D"}},
                           NumberFormat("D") + NumberFormat("S")) +
               Fields(withFormat("own", XMLEntities::Real,
                                 MakeElement(XMLElements::FieldFormat, {}, NumberFormat("P"))) +
                      withFormat("shared", XMLEntities::Real, named("S")) +
                      withFormat("unknown", XMLEntities::Integer, named("Nope")) +
                      withFormat("plain", XMLEntities::Integer, "") +
                      withFormat("text", XMLEntities::String, ""))),
      nullptr);
  ASSERT_EQ(5u, meta.FieldCount());
  const std::pair<const char*, const char*> rows[] = {
      {"own", "P"}, {"shared", "S"}, {"unknown", "D"}, {"plain", "D"}, {"text", nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    const CFFormat* shown = meta.GetDisplayFormat(*meta.GetField(row.first));
    EXPECT_EQ(row.second != nullptr ? row.second : "(none)",
              shown != nullptr ? shown->GetName() : "(none)");
  }
}

// The field names in order, joined by spaces.
std::string NamesOf(const CFMetaData& meta) {
  std::string names;
  for (unsigned int i = 0; i < meta.FieldCount(); ++i) {
    names += (i == 0 ? "" : " ") + meta.GetField(i)->GetName();
  }
  return names;
}

TEST(CFMetaDataTest, ReplaceFieldKeepsKeysParallelAndUnique) {
  UpperCase upper;
  CFMetaData meta(Document(Fields(Field("A") + Field("B") + Field("C"))), &upper);
  ASSERT_EQ(3u, meta.FieldCount());
  const CFField a = NominalField("a"), b = NominalField("b"), d = NominalField("D"), nameless;

  // Its own name, folded, is no collision.
  EXPECT_EQ(1, meta.ReplaceField(1, &b));
  EXPECT_EQ(-1, meta.ReplaceField(1, &a));  // A's key
  EXPECT_EQ(-1, meta.ReplaceField(1, &nameless));
  EXPECT_EQ(-1, meta.ReplaceField(3, &d));
  EXPECT_EQ(-1, meta.ReplaceField(3, nullptr));
  EXPECT_EQ("A b C", NamesOf(meta));

  // A new name frees the old key and takes the new one.
  EXPECT_EQ(1, meta.ReplaceField(1, &d));
  EXPECT_EQ(-1, meta.GetFieldIndex("b"));
  EXPECT_EQ(1, meta.GetFieldIndex("d"));
  // Removal moves the later fields up, keys with them.
  EXPECT_EQ(0, meta.ReplaceField(0, nullptr));
  EXPECT_EQ("D C", NamesOf(meta));
  EXPECT_EQ(0, meta.GetFieldIndex("D"));
  EXPECT_EQ(1, meta.GetFieldIndex("c"));
  EXPECT_EQ(-1, meta.GetFieldIndex("A"));
  EXPECT_EQ(2, meta.AppendField(a));
  EXPECT_EQ(3, meta.AppendField(b));
  EXPECT_EQ(-1, meta.AppendField(b));
  EXPECT_EQ("D C a b", NamesOf(meta));
  for (const char* name : {"d", "c", "a", "b"}) {
    SCOPED_TRACE(name);
    ASSERT_NE(nullptr, meta.GetField(name));
    EXPECT_EQ(meta.GetField(name), meta.GetField(meta.GetFieldIndex(name)));
  }
}

TEST(CFMetaDataTest, FieldEditsReachTheFieldInRange) {
  CFMetaData meta;
  ASSERT_EQ(0, meta.AppendField(CFField("Region", CFField::StringStorage, CFField::Nominal)));
  const std::vector<CFValue> values = {CFValue(CFDatum("north", false))};
  meta.SetValues(1, values);  // out of range: nothing, no crash
  meta.SetValueLabels(1, values);
  EXPECT_FALSE(meta.SetFieldType(1, CFField::Ordinal));
  meta.SetValues(0, values);
  ASSERT_EQ(1u, meta.GetField(0u)->GetValues().size());
  EXPECT_TRUE(meta.SetFieldType(0, CFField::Continuous));  // clears the value list
  EXPECT_EQ(CFField::Continuous, meta.GetField(0u)->GetType());
  EXPECT_TRUE(meta.GetField(0u)->GetValues().empty());
}

TEST(CFMetaDataTest, SharedFormatEditsMoveAndClearTheSlots) {
  CFStringFormat text(-1, false);
  text.SetName("Text");
  CFDateFormat day(CFDateFormat::Y_M_D, 10, 0, CFFormat::UnitsSeparator::Dash, false, false);
  day.SetName("Day");
  CFNumberFormat money(CFNumberFormat::Standard, 12, 2);
  money.SetName("Money");
  CFMetaData meta;
  ASSERT_EQ(0, meta.AddSharedFormat(text));
  ASSERT_EQ(1, meta.AddSharedFormat(day));
  ASSERT_EQ(2, meta.AddSharedFormat(money));
  EXPECT_EQ(-1, meta.AddSharedFormat(CFNumberFormat()));
  EXPECT_EQ(-1, meta.AddSharedFormat(CFNumberFormat(CFNumberFormat::Standard, 8, 0)));  // nameless
  ASSERT_EQ(0, meta.SetDefaultFormat(CFField::StringStorage, "Text"));
  ASSERT_EQ(1, meta.SetDefaultFormat(CFField::TimestampStorage, "Day"));
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::DateStorage, "Money"));  // does not suit dates
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::UnknownStorage, "Money"));
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::RealStorage, "money"));  // never folded
  ASSERT_EQ(2, meta.SetDefaultFormat(CFField::IntegerStorage, "Money"));
  EXPECT_EQ(meta.GetSharedFormat("Money"), meta.GetDefaultFormat(CFField::RealStorage));
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::StringStorage, ""));  // cannot clear a slot
  EXPECT_EQ(meta.GetSharedFormat("Text"), meta.GetDefaultFormat(CFField::StringStorage));

  // A replacement under the same name keeps the index and the slot it still fits.
  CFNumberFormat wider(CFNumberFormat::Standard, 20, 4);
  wider.SetName("Money");
  EXPECT_EQ(2, meta.AddSharedFormat(wider));
  ASSERT_NE(nullptr, meta.GetDefaultFormat(CFField::RealStorage));
  EXPECT_EQ(20, meta.GetDefaultFormat(CFField::RealStorage)->GetWidth());
  // A number format under the date default's name takes its place and leaves the date slot.
  CFNumberFormat count(CFNumberFormat::Standard, 6, 0);
  count.SetName("Day");
  EXPECT_EQ(1, meta.AddSharedFormat(count));
  EXPECT_EQ(3u, meta.SharedFormatCount());
  EXPECT_EQ('n', meta.GetSharedFormat(1u)->GetFormatClass());
  EXPECT_EQ(nullptr, meta.GetDefaultFormat(CFField::DateStorage));

  // Dropping format 0 moves the number slot from 2 to 1 and empties the string slot; the
  // dropped format stays usable through the pointer handed out before.
  const CFFormat* dropped = meta.GetSharedFormat(0u);
  EXPECT_EQ(0, meta.DropSharedFormat(0));
  EXPECT_EQ(-1, meta.DropSharedFormat(2));
  EXPECT_EQ("abc", cfmeta_test::Render(*dropped, CFDatum("abc", false)));
  EXPECT_EQ(nullptr, meta.GetSharedFormat("Text"));
  EXPECT_EQ(nullptr, meta.GetDefaultFormat(CFField::StringStorage));
  EXPECT_EQ(meta.GetSharedFormat(1u), meta.GetDefaultFormat(CFField::IntegerStorage));
  EXPECT_EQ(-1, meta.SetDefaultFormat(CFField::StringStorage, "Text"));

  // What is left is what is written.
  ASSERT_EQ(0, meta.AppendField(NominalField("A")));
  EXPECT_NE(std::string::npos,
            cfmeta_test::ExpectRoundTrip(meta).find(
                cfmeta_test::OpenTag(XMLElements::FieldFormats,
                                     {{XMLAttributes::DefaultNumberFormat, "Money"}}) +
                ">"));
}

TEST(CFMetaDataTest, CopiesAndAssignmentCarryTheWholeDocument) {
  CFMetaData meta(ReadFile("formats.xml"), nullptr);
  ASSERT_GT(meta.FieldCount(), 0u);
  ASSERT_TRUE(meta.SetFieldGroup(CFMetaData::MultiDichotomySet, "Owns", {"a", "b"}, "L", "1"));
  meta.SetRecordCounts(10, 12.5);
  std::string expected;
  ASSERT_TRUE(meta.ExportXMLDoc(expected));

  CFMetaData& alias = meta;
  meta = alias;
  std::string out;
  ASSERT_TRUE(meta.ExportXMLDoc(out));
  EXPECT_EQ(expected, out);

  // A target with state of its own, dropped objects included, ends as a copy of the source.
  UpperCase upper;
  CFMetaData target(Document(Fields(Field("Other"))), &upper);
  ASSERT_TRUE(target.SetFieldGroup(CFMetaData::PlainGroup, "Gone", {"Other"}, "", ""));
  ASSERT_TRUE(target.DropFieldGroup(CFMetaData::PlainGroup, "Gone"));
  target = meta;
  CFMetaData copy(meta);
  // Changing the source afterwards reaches neither.
  ASSERT_TRUE(meta.DropFieldGroup(CFMetaData::MultiDichotomySet, "Owns"));
  ASSERT_EQ(0, meta.DropSharedFormat(0));
  for (const CFMetaData* other : {&target, &copy}) {
    EXPECT_TRUE(other->IsCaseSensitive());
    ASSERT_TRUE(other->ExportXMLDoc(out));
    EXPECT_EQ(expected, out);
  }
}

std::string TimeFormat(const std::string& name) {
  return MakeElement(XMLElements::TimeFormat, {{XMLAttributes::Name, name},
                                               {XMLAttributes::Width, "-1"},
                                               {XMLAttributes::FormatType, XMLEntities::H_M_S},
                                               {XMLAttributes::DecimalPlaces, "0"},
                                               {XMLAttributes::Separator, XMLEntities::Colon},
                                               {XMLAttributes::PaddedHMS, XMLEntities::True}});
}

std::string DateFormat(const std::string& name, const char* separator,
                       const std::string& time = "") {
  return MakeElement(XMLElements::DateFormat,
                     {{XMLAttributes::Name, name},
                      {XMLAttributes::Width, "10"},
                      {XMLAttributes::FormatType, XMLEntities::Y_M_D},
                      {XMLAttributes::DecimalPlaces, "0"},
                      {XMLAttributes::Separator, separator},
                      {XMLAttributes::TwoDigitYear, XMLEntities::False},
                      {XMLAttributes::NamesLocal, XMLEntities::False}},
                     time);
}

std::string Rendered(const CFFormat* format, double value, CFFormat::ValueUnits units) {
  if (format == nullptr) return "<no format>";
  std::string out;
  return format->Format(CFDatum(value), units, out) == 0 ? out : "<failed>";
}

TEST(CFMetaDataTest, DateAndTimeFormatsLoadRenderAndExport) {
  const std::string formats =
      DateFormat("Day", XMLEntities::Dash, TimeFormat("")) + TimeFormat("Clock");
  const std::string fields = Fields(
      Field("When", XMLEntities::Timestamp, XMLEntities::Continuous) +
      MakeElement(XMLElements::Field,
                  {{XMLAttributes::Name, "On"},
                   {XMLAttributes::Storage, XMLEntities::Date},
                   {XMLAttributes::Measure, XMLEntities::Continuous}},
                  MakeElement(XMLElements::FieldFormat, {}, DateFormat("", XMLEntities::Slash))));
  const std::string xml = Document(MakeElement(XMLElements::FieldFormats,
                                               {{XMLAttributes::DefaultDateFormat, "Day"},
                                                {XMLAttributes::DefaultTimeFormat, "Clock"}},
                                               formats) +
                                   fields);
  CFMetaData meta(xml, nullptr);
  ASSERT_EQ(2u, meta.FieldCount());
  // Dates and timestamps share the date slot.
  EXPECT_EQ("1970-01-02 12:00:00",
            Rendered(meta.GetDefaultFormat(CFField::DateStorage), 1.5, CFFormat::Days));
  EXPECT_EQ("1970-01-01 01:02:03",
            Rendered(meta.GetDefaultFormat(CFField::TimestampStorage), 3723.0, CFFormat::Seconds));
  EXPECT_EQ("01:02:03",
            Rendered(meta.GetDefaultFormat(CFField::TimeStorage), 3723.0, CFFormat::Seconds));
  EXPECT_EQ("2024/01/01",
            Rendered(meta.GetField("On")->GetPrivateFormat(), 19723.0, CFFormat::Days));

  cfmeta_test::ExpectRoundTrip(meta);

  // A format in a slot, or on a field, whose storage it does not suit fails the load, as
  // does an unreadable one.
  const std::string damaged[] = {
      Document(MakeElement(XMLElements::FieldFormats, {{XMLAttributes::DefaultTimeFormat, "Day"}},
                           formats) +
               fields),
      Document(MakeElement(XMLElements::FieldFormats, {{XMLAttributes::DefaultDateFormat, "Clock"}},
                           formats) +
               fields),
      Document(Fields(MakeElement(
          XMLElements::Field,
          {{XMLAttributes::Name, "At"},
           {XMLAttributes::Storage, XMLEntities::Time},
           {XMLAttributes::Measure, XMLEntities::Continuous}},
          MakeElement(XMLElements::FieldFormat, {}, DateFormat("", XMLEntities::Slash))))),
      Document(MakeElement(XMLElements::FieldFormats, {}, DateFormat("Day", "x")) + fields),
  };
  for (const std::string& text : damaged) {
    SCOPED_TRACE(text);
    ExpectEmpty(CFMetaData(text, nullptr));
  }
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
    CFField field = NominalField("f");
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
  CFMetaData meta;
  ASSERT_EQ(0, meta.AppendField(CFField("Region", CFField::StringStorage, CFField::Nominal)));
  ASSERT_EQ(1, meta.AppendField(CFField("Income", CFField::RealStorage, CFField::Continuous)));
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
  for (const char* name : {"survey.xml", "retail.xml", "households.xml", "formats.xml"}) {
    SCOPED_TRACE(name);
    std::string text = ReadFile(name);
    ASSERT_FALSE(text.empty());
    CFMetaData first(text, nullptr);
    ASSERT_GT(first.FieldCount(), 0u);
    cfmeta_test::ExpectRoundTrip(first);
  }
}

std::string FieldNameOfFirstSummary(const CFMetaData& meta) {
  const CFDatasetSummaries* summaries = meta.getDatasetSummaries();
  if (summaries == nullptr || summaries->getFieldSummaries() == nullptr) return "(none)";
  return summaries->getFieldSummaries()->getFieldSummary(0)->getFieldName();
}

TEST(CFMetaDataTest, SummariesLoadExportAndCopy) {
  CFMetaData loaded(ReadFile("households.xml"), nullptr);
  ASSERT_EQ(4u, loaded.FieldCount());
  const CFDatasetSummaries* summaries = loaded.getDatasetSummaries();
  ASSERT_NE(nullptr, summaries);
  ASSERT_NE(nullptr, summaries->getOverallSummaries());
  EXPECT_FALSE(summaries->getOverallSummaries()->getIncludeUMissing());
  const CFFieldSummaries* fields = summaries->getFieldSummaries();
  ASSERT_NE(nullptr, fields);
  ASSERT_EQ(3u, fields->getFieldSummaryCount());
  ASSERT_NE(nullptr, fields->getFieldSummary(0)->getConStatistics());
  EXPECT_EQ(9.75, fields->getFieldSummary(0)->getConStatistics()->getKurtosis());
  ASSERT_NE(nullptr, fields->getFieldSummary(1)->getDisStatistics());
  EXPECT_EQ("OWN", fields->getFieldSummary(1)->getDisStatistics()->getMode());
  EXPECT_EQ(XMLEntities::True, fields->getFieldSummary(2)
                                   ->getDisStatistics()
                                   ->getDistributionSummary()
                                   ->getMaxCatsExceeded());

  std::string exported;
  ASSERT_TRUE(loaded.ExportXMLDoc(exported));
  const std::string summariesTag = std::string("<") + XMLElements::DatasetSummaries + ">";
  const std::string fieldsEnd = std::string("</") + XMLElements::Fields + ">";
  EXPECT_LT(exported.find(fieldsEnd), exported.find(summariesTag));

  // Copies own their summaries.
  CFMetaData copy(loaded);
  CFMetaData assigned;
  assigned = loaded;
  loaded.releaseDatasetSummaries();
  EXPECT_EQ(nullptr, loaded.getDatasetSummaries());
  std::string without;
  ASSERT_TRUE(loaded.ExportXMLDoc(without));
  EXPECT_EQ(std::string::npos, without.find(summariesTag));
  for (const CFMetaData* other : {&copy, &assigned}) {
    std::string again;
    ASSERT_TRUE(other->ExportXMLDoc(again));
    EXPECT_EQ(exported, again);
  }
}

TEST(CFMetaDataTest, SetDatasetSummariesKeepsTheOldOnFailure) {
  CFMetaData meta(Document(Fields(Field("age")) + SummariesOf("age")), nullptr);
  ASSERT_EQ(1u, meta.FieldCount());
  const CFDatasetSummaries* held = meta.getDatasetSummaries();
  const std::string rows[] = {
      "",
      "<" + std::string(XMLElements::DatasetSummaries),
      SummariesOf("age", "yes"),
      SummariesOf(""),
  };
  for (const std::string& text : rows) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(meta.setDatasetSummaries(text));
    EXPECT_EQ(held, meta.getDatasetSummaries());
    EXPECT_EQ("age", FieldNameOfFirstSummary(meta));
  }
  EXPECT_TRUE(meta.setDatasetSummaries(SummariesOf("income", XMLEntities::False)));
  EXPECT_EQ("income", FieldNameOfFirstSummary(meta));

  // A field summary read without a statistics block cannot be written: nor can the document.
  ASSERT_TRUE(meta.setDatasetSummaries(MakeElement(
      XMLElements::DatasetSummaries, {},
      MakeElement(XMLElements::FieldSummaries, {},
                  MakeElement(XMLElements::FieldSummary, {{XMLAttributes::FieldName, "age"}})))));
  std::string out = "unchanged";
  EXPECT_FALSE(meta.ExportXMLDoc(out));
  EXPECT_EQ("unchanged", out);
  meta.setDatasetSummaries(static_cast<CFDatasetSummaries*>(nullptr));
  EXPECT_EQ(nullptr, meta.getDatasetSummaries());
}

// What every format of `meta` renders for a spread of values, one line per format: shared
// formats, default slots and private formats, each led by its class and name.
std::string RenderAll(const CFMetaData& meta) {
  const CFDatum values[] = {CFDatum(),           CFDatum(0),
                            CFDatum(-1234.5),    CFDatum(1234567.891),
                            CFDatum(31536000.0), CFDatum("abc", false)};
  std::string text;
  auto add = [&](const std::string& where, const CFFormat* format) {
    text += where + ":";
    if (format == nullptr) {
      text += " none\n";
      return;
    }
    text += std::string(1, format->GetFormatClass()) + format->GetName();
    for (const CFDatum& value : values) {
      std::string out;
      const int rc = format->Format(value, CFFormat::Seconds, out);
      text += " [" + std::to_string(rc) + "]" + out;
    }
    text += "\n";
  };
  for (unsigned int i = 0; i < meta.SharedFormatCount(); ++i) {
    add("shared", meta.GetSharedFormat(i));
  }
  for (CFField::StorageType storage :
       {CFField::RealStorage, CFField::StringStorage, CFField::DateStorage, CFField::TimeStorage}) {
    add("default " + std::to_string(storage), meta.GetDefaultFormat(storage));
  }
  for (unsigned int i = 0; i < meta.FieldCount(); ++i) {
    const CFField* field = meta.GetField(i);
    add(field->GetName() + " " + field->GetFormatReference(), field->GetPrivateFormat());
  }
  return text;
}

// formats.xml uses every format class the library builds, as a shared format and as a private
// one; each keeps its settings through an export and a load, and in a copy.
TEST(CFMetaDataTest, EveryFormatClassSurvivesARoundTrip) {
  CFMetaData first(ReadFile("formats.xml"), nullptr);
  ASSERT_GT(first.FieldCount(), 0u);
  std::string shared, privates;
  for (unsigned int i = 0; i < first.SharedFormatCount(); ++i) {
    shared += first.GetSharedFormat(i)->GetFormatClass();
  }
  for (unsigned int i = 0; i < first.FieldCount(); ++i) {
    const CFFormat* format = first.GetField(i)->GetPrivateFormat();
    if (format != nullptr) privates += format->GetFormatClass();
  }
  for (char c : std::string("ncsdt")) {
    SCOPED_TRACE(c);
    EXPECT_NE(std::string::npos, shared.find(c));
    EXPECT_NE(std::string::npos, privates.find(c));
  }

  // A few texts pinned, so that a reader and writer sharing a mistake cannot pass.
  const struct {
    const CFFormat* format;
    CFDatum value;
    CFFormat::ValueUnits units;
    const char* text;
  } pins[] = {
      {first.GetDefaultFormat(CFField::RealStorage), CFDatum(-1234.5), CFFormat::NoUnits,
       "   ($1,234.50)"},
      {first.GetDefaultFormat(CFField::StringStorage), CFDatum("abc", false), CFFormat::NoUnits,
       "abc"},
      {first.GetField("Refund")->GetPrivateFormat(), CFDatum(-1234.5), CFFormat::NoUnits,
       "  1.234,50 \xE2\x82\xAC"},
      {first.GetField("Units")->GetPrivateFormat(), CFDatum(-1234567), CFFormat::NoUnits,
       "minus 1 234 567 pcs"},
      {first.GetField("Shipped")->GetPrivateFormat(), CFDatum(1709214307.0), CFFormat::Seconds,
       "29 Feb 24 13:45"},
      {first.GetDefaultFormat(CFField::TimeStorage), CFDatum(3723.5), CFFormat::Seconds,
       "01:02:03.50"},
  };
  for (const auto& pin : pins) {
    SCOPED_TRACE(pin.text);
    ASSERT_NE(nullptr, pin.format);
    EXPECT_EQ(pin.text, cfmeta_test::Render(*pin.format, pin.value, pin.units));
  }

  // Read back, and copied, every format renders as before.
  std::string exported;
  ASSERT_TRUE(first.ExportXMLDoc(exported));
  EXPECT_EQ(RenderAll(first), RenderAll(CFMetaData(exported, nullptr)));
  EXPECT_EQ(RenderAll(first), RenderAll(CFMetaData(first)));
}

}  // namespace
