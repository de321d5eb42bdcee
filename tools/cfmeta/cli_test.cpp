// Runs the built tool as a user would and checks its output and exit status.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cfmeta/format/cfformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/cfmeta-cli-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    m_dir = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(m_dir); }

  std::string Path(const std::string& name) const { return m_dir + "/" + name; }

  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }

  // Runs the tool with `args`; standard output and error are caught in files.
  Result Run(const std::vector<std::string>& args) const {
    std::string out = Path("stdout"), err = Path("stderr");
    pid_t pid = fork();
    if (pid == 0) {
      int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(o, STDOUT_FILENO);
      dup2(e, STDERR_FILENO);
      std::vector<char*> argv{const_cast<char*>(CFMETA_TOOL_PATH)};
      for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
      argv.push_back(nullptr);
      execv(CFMETA_TOOL_PATH, argv.data());
      _exit(127);
    }
    Result result;
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
      result.status = WEXITSTATUS(status);
    }
    result.out = Slurp(out);
    result.err = Slurp(err);
    return result;
  }

 private:
  std::string m_dir;
};

const char kSample[] =
    "id,age,income,city,note\n"
    "1,34,52000.5,Leeds,\"likes, commas\"\n"
    "2,45,61000.25,York,\"two\nlines\"\n"
    "3,51,50000,Leeds,\n"
    "4,29,48000,Hull,plain\n"
    "5,42,75500.75,York,\"a \"\"quote\"\"\"\n"
    "6,38,58000,Leeds,x\n";

TEST_F(CliTest, ProfileWritesADocumentTheOtherCommandsRead) {
  std::string data = Write("people.csv", kSample);
  Result profiled = Run({"profile", data, "--max-categories", "5", "-o", Path("people.xml")});
  ASSERT_EQ(0, profiled.status) << profiled.err;
  EXPECT_EQ("", profiled.out);
  EXPECT_EQ("", profiled.err);  // no progress bar when standard error is not a terminal
  std::string xml = Slurp(Path("people.xml"));

  CFMetaData metadata(xml, nullptr);
  ASSERT_EQ(5u, metadata.FieldCount());
  EXPECT_EQ(6.0, metadata.GetRecordCount(false));
  const CFField& age = *metadata.GetField("age");
  EXPECT_EQ(CFField::IntegerStorage, age.GetStorage());
  EXPECT_EQ(CFField::Continuous, age.GetType());
  ASSERT_NE(nullptr, age.GetContStats());
  EXPECT_EQ(6.0, age.GetContStats()->GetSumFreqWeights());
  EXPECT_EQ(CFField::RealStorage, metadata.GetField("income")->GetStorage());
  const CFField& city = *metadata.GetField("city");
  EXPECT_EQ(CFField::Nominal, city.GetType());
  EXPECT_EQ(3u, city.GetValues().size());
  EXPECT_EQ(5u, metadata.GetField("note")->GetValues().size());  // the empty cell is null

  // Without -o the same document goes to standard output.
  Result toStdout = Run({"profile", data, "--max-categories=5"});
  ASSERT_EQ(0, toStdout.status);
  EXPECT_EQ(xml, toStdout.out);

  Result checked = Run({"check", Path("people.xml")});
  EXPECT_EQ(0, checked.status);
  EXPECT_THAT(checked.out, HasSubstr("5 fields"));

  Result exported = Run({"export", Path("people.xml")});
  ASSERT_EQ(0, exported.status);
  std::string expected;
  ASSERT_TRUE(metadata.ExportXMLDoc(expected));
  EXPECT_EQ(expected, exported.out);

  Result shown = Run({"show", Path("people.xml")});
  ASSERT_EQ(0, shown.status) << shown.err;
  EXPECT_THAT(shown.out, HasSubstr("Fields: 5"));
  EXPECT_THAT(shown.out, HasSubstr("min 48000.00  max 75500.75  mean 57416.9167"));
  EXPECT_THAT(shown.out, HasSubstr("Leeds: 3, York: 2, Hull: 1"));
  EXPECT_THAT(shown.out, HasSubstr("Records: 6 (weighted 6)"));

  // A tab-delimited copy reads the same.
  std::string tabbed = kSample;
  for (char& c : tabbed) c = c == ',' ? '\t' : c;
  tabbed.replace(tabbed.find("likes\t commas"), 13, "likes, commas");
  Result fromTabs =
      Run({"profile", Write("people.tsv", tabbed), "--delimiter", "\\t", "--max-categories", "5"});
  ASSERT_EQ(0, fromTabs.status) << fromTabs.err;
  EXPECT_EQ(xml, fromTabs.out);
}

// The demo's document is kept as it was first written: a change in how the tool builds fields,
// formats or summaries must not change a byte of it. Without --summaries the same document
// comes out with no summaries element.
TEST_F(CliTest, DemoDocumentStaysByteForByte) {
  const std::string expected = Slurp(CFMETA_TESTDATA_DIR "/customers-demo.xml");
  ASSERT_FALSE(expected.empty());
  const std::vector<std::string> demo = {"profile", CFMETA_TESTDATA_DIR "/customers.csv",
                                         "--currency", "income,monthly_spend"};
  std::vector<std::string> args = demo;
  args.insert(args.end(), {"--summaries", "-o", Path("demo.xml")});
  Result profiled = Run(args);
  ASSERT_EQ(0, profiled.status) << profiled.err;
  EXPECT_TRUE(Slurp(Path("demo.xml")) == expected) << "the demo document changed";

  const std::string tag = CfCppHelperV1::XMLElements::DatasetSummaries;
  const size_t from = expected.find("<" + tag + ">");
  const size_t to = expected.find("</" + tag + ">");
  ASSERT_NE(std::string::npos, from);
  ASSERT_NE(std::string::npos, to);
  std::string withoutSummaries = expected;
  withoutSummaries.erase(from, to + tag.size() + 3 - from);
  Result plain = Run(demo);
  ASSERT_EQ(0, plain.status) << plain.err;
  EXPECT_TRUE(plain.out == withoutSummaries) << "the demo document without summaries changed";
}

TEST_F(CliTest, BadInputExitsOneNamingTheFile) {
  std::string ragged = Write("ragged.csv", "a,b\n1,2\n3\n");
  std::string empty = Write("empty.csv", "");
  std::string malformed = Write("bad.xml", "<DataModel>\n  <Fields>\n</DataModel>\n");
  std::string foreign = Write("foreign.xml", "<Something/>");
  std::string survey = CFMETA_TESTDATA_DIR "/survey.xml";
  struct Row {
    std::vector<std::string> args;
    std::string message;
  } rows[] = {
      {{"profile", ragged}, ragged + ": line 3: 1 cell, but the header has 2"},
      {{"profile", empty}, empty + ": the file is empty"},
      {{"profile", Path("absent.csv")}, Path("absent.csv") + ": cannot read: No such file"},
      {{"profile", Write("ok.csv", "a\n1\n"), "-o", Path("no/such.xml")},
       Path("no/such.xml") + ": cannot write: No such file or directory"},
      {{"check", malformed}, malformed + ": not well-formed XML: line 3, column"},
      {{"check", foreign}, foreign + ": not a valid metadata document: it has no Fields element"},
      {{"check", empty}, empty + ": the file is empty"},
      {{"show", Path("absent.xml")}, Path("absent.xml") + ": cannot read"},
      {{"format", survey, "Nobody", "1"}, survey + ": no field is named 'Nobody'"},
      {{"format", survey, "Income", "12abc"},
       survey + ": '12abc' is not a value of field 'Income'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.args[0] + " " + row.args[1]);
    Result result = Run(row.args);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, StartsWith("cfmeta: " + row.message));
  }
}

TEST_F(CliTest, SummariesAreStoredAndShown) {
  std::string data = Write("people.csv", kSample);
  Result plain = Run({"profile", data});
  Result profiled = Run({"profile", data, "--summaries", "-o", Path("people.xml")});
  ASSERT_EQ(0, profiled.status) << profiled.err;
  EXPECT_EQ(std::string::npos, plain.out.find(CfCppHelperV1::XMLElements::DatasetSummaries));
  Result shown = Run({"show", Path("people.xml")});
  ASSERT_EQ(0, shown.status) << shown.err;
  EXPECT_THAT(shown.out, HasSubstr("Summaries: 5"));
  EXPECT_THAT(shown.out,
              HasSubstr("city: valid 6, missing 0; mode Leeds, median Leeds; 3 categories"));
  EXPECT_THAT(shown.out, HasSubstr("note: valid 5, missing 1;"));
  Result exported = Run({"export", Path("people.xml")});
  EXPECT_EQ(Slurp(Path("people.xml")), exported.out);
}

TEST_F(CliTest, HeaderOnlyFileGivesFieldsAndNoRecords) {
  Result result = Run({"profile", Write("header.csv", "a,b,c\n")});
  ASSERT_EQ(0, result.status) << result.err;
  CFMetaData metadata(result.out, nullptr);
  EXPECT_EQ(3u, metadata.FieldCount());
  EXPECT_EQ(0.0, metadata.GetRecordCount(false));
}

TEST_F(CliTest, BadUsageExitsTwoAndHelpExitsZero) {
  std::string data = Write("d.csv", "a\n1\n");
  const std::vector<std::string> bad[] = {
      {},
      {"frobnicate"},
      {"profile"},
      {"profile", data, "--max-categories", "-1"},
      {"profile", data, "--max-categories", "many"},
      {"profile", data, "--delimiter", "ab"},
      {"profile", data, "--delimiter", "\""},
      {"format", CFMETA_TESTDATA_DIR "/survey.xml", "Income"},
  };
  for (const std::vector<std::string>& args : bad) {
    SCOPED_TRACE(::testing::PrintToString(args));
    Result result = Run(args);
    EXPECT_EQ(2, result.status);
    EXPECT_NE("", result.err);
  }
  for (const char* command : {"profile", "show", "check", "export", "format"}) {
    SCOPED_TRACE(command);
    Result help = Run({command, "--help"});
    EXPECT_EQ(0, help.status);
    EXPECT_THAT(help.out, HasSubstr(command));
  }
  Result help = Run({"--help"});
  EXPECT_EQ(0, help.status);
  EXPECT_THAT(help.out, HasSubstr("profile"));
}

TEST_F(CliTest, DatesTimesAndTimestampsShowAsSuch) {
  std::string data = Write("events.csv",
                           "day,at,stamp\n"
                           "2024-02-29,08:15,2024-02-29T08:15:00\n"
                           "1999-12-31,23:59:59.5,1999-12-31 23:59:59Z\n"
                           ",,\n");
  Result profiled = Run({"profile", data, "-o", Path("events.xml")});
  ASSERT_EQ(0, profiled.status) << profiled.err;
  CFMetaData metadata(Slurp(Path("events.xml")), nullptr);
  ASSERT_EQ(3u, metadata.FieldCount());
  const CFField::StorageType storages[] = {CFField::DateStorage, CFField::TimeStorage,
                                           CFField::TimestampStorage};
  const char classes[] = {'d', 't', 'd'};
  for (unsigned int i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    const CFField& field = *metadata.GetField(i);
    EXPECT_EQ(storages[i], field.GetStorage());
    EXPECT_EQ(CFField::Continuous, field.GetType());
    ASSERT_NE(nullptr, field.GetPrivateFormat());
    EXPECT_EQ(classes[i], field.GetPrivateFormat()->GetFormatClass());
  }

  Result shown = Run({"show", Path("events.xml")});
  ASSERT_EQ(0, shown.status) << shown.err;
  EXPECT_THAT(shown.out, HasSubstr("min 1999-12-31  max 2024-02-29"));
  EXPECT_THAT(shown.out, HasSubstr("min 08:15:00.0  max 23:59:59.5"));
  EXPECT_THAT(shown.out, HasSubstr("min 1999-12-31 23:59:59  max 2024-02-29 08:15:00"));

  Result formatted = Run({"format", Path("events.xml"), "day", "2000-03-01", "0"});
  ASSERT_EQ(0, formatted.status) << formatted.err;
  EXPECT_EQ("2000-03-01\n1970-01-01\n", formatted.out);
}

TEST_F(CliTest, CurrencyAndPercentColumnsShowDecorated) {
  std::string data = Write("money.csv", "price,share,name\n1234.5,12.5,a\n-20,7.25,b\n");
  Result profiled = Run({"profile", data, "--max-categories", "1", "--currency", "price",
                         "--percent=share", "-o", Path("money.xml")});
  ASSERT_EQ(0, profiled.status) << profiled.err;
  Result shown = Run({"show", Path("money.xml")});
  ASSERT_EQ(0, shown.status) << shown.err;
  EXPECT_THAT(shown.out, HasSubstr("min -$20.0  max $1,234.5"));
  EXPECT_THAT(shown.out, HasSubstr("min 7.25%  max 12.50%"));
  Result formatted = Run({"format", Path("money.xml"), "price", "-1234567.25"});
  EXPECT_EQ("-$1,234,567.2\n", formatted.out);

  struct Row {
    std::vector<std::string> args;
    std::string message;
  } rows[] = {
      {{"profile", data, "--currency", "price,cost"},
       data + ": line 1: header: there is no column 'cost' to show as currency"},
      {{"profile", data, "--percent", "name"},
       data + ": column 'name' is not numeric, so it cannot show as a percentage"},
      {{"profile", data, "--currency", "price", "--currency-symbol", "0$"},
       data + ": column 'price': the currency symbol '0$' cannot start with 0"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    Result result = Run(row.args);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("cfmeta: " + row.message + "\n", result.err);
  }
}

TEST_F(CliTest, ShowListsModelRolesGeometriesGroupsAndEveryFormatClass) {
  Result scoring = Run({"show", CFMETA_TESTDATA_DIR "/scoring.xml"});
  ASSERT_EQ(0, scoring.status) << scoring.err;
  EXPECT_THAT(scoring.out, HasSubstr("$RP-Churn-yes  probability             Churn = yes"));
  Result survey = Run({"show", CFMETA_TESTDATA_DIR "/survey.xml"});
  ASSERT_EQ(0, survey.status) << survey.err;
  EXPECT_THAT(survey.out, HasSubstr("Field groups: 2"));
  EXPECT_THAT(
      survey.out,
      HasSubstr("Demographics  fieldGroup  About the respondent  -        Region, Employed"));
  Result geography = Run({"show", CFMETA_TESTDATA_DIR "/geography.xml"});
  ASSERT_EQ(0, geography.status) << geography.err;
  EXPECT_THAT(geography.out, HasSubstr("Location  point         wkid 4326, geographic"));
  Result formats = Run({"show", CFMETA_TESTDATA_DIR "/formats.xml"});
  ASSERT_EQ(0, formats.status) << formats.err;
  EXPECT_THAT(formats.out, HasSubstr("Dollars  currency w=14 d=2 \"$#\" neg \"($#)\"  numbers"));
  EXPECT_THAT(formats.out, HasSubstr("Hex      string w=16 hex"));
  EXPECT_THAT(formats.out, HasSubstr("date d_monthName_Y w=free + time h_M w=5 d=0"));
}

TEST_F(CliTest, FormatRendersThroughTheFieldsFormat) {
  // Income uses the shared format Money: width 12, two decimals, grouped by commas.
  Result result =
      Run({"format", CFMETA_TESTDATA_DIR "/survey.xml", "Income", "1234567.891", "-5", ""});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("1,234,567.89\n       -5.00\n.\n", result.out);

  result = Run({"format", CFMETA_TESTDATA_DIR "/survey.xml", "Region", "North"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("North\n", result.out);

  // One field per format class.
  const std::string formats = CFMETA_TESTDATA_DIR "/formats.xml";
  struct Row {
    const char* field;
    const char* value;
    const char* text;
  } rows[] = {
      {"Amount", "-1234.5", "   ($1,234.50)"},  // decorated, shared
      {"Weight", "1234.5", "  1,234E+003"},     // scientific, shared
      {"Token", "abc", "abc"},                  // string
      {"Ordered", "2024-02-29", "2024-02-29"},  // date, shared
      {"Shipped", "2024-02-29T13:45:07", "29 Feb 24 13:45"},
      {"Handling", "90061", "1 1:1:1"},  // a duration, unpadded
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.field);
    result = Run({"format", formats, row.field, row.value});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ(std::string(row.text) + "\n", result.out);
  }
}

}  // namespace
