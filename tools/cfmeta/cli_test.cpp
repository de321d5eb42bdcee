// Runs the built tool as a user would and checks its output and exit status.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

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

  // Runs the tool with `args`, standard input read from the file `input` when one is given, and
  // `env` added to an environment without COLUMNS; standard output and error are caught in
  // files, or standard output in a terminal `terminalColumns` wide when that is not 0.
  Result Run(const std::vector<std::string>& args, const std::string& input = "",
             const std::vector<std::string>& env = {}, unsigned short terminalColumns = 0) const {
    std::string out = Path("stdout"), err = Path("stderr");
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    if (!input.empty()) {
      posix_spawn_file_actions_addopen(&files, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
    }
    int terminal = -1, slave = -1;
    struct winsize size {};
    size.ws_row = 24;
    size.ws_col = terminalColumns;
    if (terminalColumns > 0) {
      if (openpty(&terminal, &slave, nullptr, nullptr, &size) != 0) {
        posix_spawn_file_actions_destroy(&files);
        return Result();
      }
      posix_spawn_file_actions_adddup2(&files, slave, STDOUT_FILENO);
      posix_spawn_file_actions_addclose(&files, terminal);
    } else {
      posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, out.c_str(),
                                       O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, err.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<char*> argv{const_cast<char*>(CFMETA_TOOL_PATH)};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    std::vector<std::string> variables = env;
    for (char** v = environ; *v != nullptr; ++v) {
      if (std::string(*v).rfind("COLUMNS=", 0) != 0) variables.push_back(*v);
    }
    std::vector<char*> envp;
    for (std::string& variable : variables) envp.push_back(variable.data());
    envp.push_back(nullptr);
    Result result;
    pid_t pid = 0;
    int status = 0;
    bool spawned =
        posix_spawn(&pid, CFMETA_TOOL_PATH, &files, nullptr, argv.data(), envp.data()) == 0;
    posix_spawn_file_actions_destroy(&files);
    if (terminal >= 0) {
      // Read until the tool closes its end, so that it never waits on a full terminal; the
      // terminal writes line ends as "\r\n".
      close(slave);
      char buffer[4096];
      for (ssize_t n; spawned && (n = read(terminal, buffer, sizeof(buffer))) > 0;) {
        result.out.append(buffer, static_cast<size_t>(n));
      }
      close(terminal);
      for (size_t at; (at = result.out.find("\r\n")) != std::string::npos;) result.out.erase(at, 1);
    }
    if (spawned && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
      result.status = WEXITSTATUS(status);
    }
    if (terminal < 0) result.out = Slurp(out);
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

// A profile with summaries; the demo test covers one without.
TEST_F(CliTest, ProfileWritesADocumentTheOtherCommandsRead) {
  std::string data = Write("people.csv", kSample);
  Result profiled =
      Run({"profile", data, "--max-nominal", "5", "--summaries", "-o", Path("people.xml")});
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
  Result toStdout = Run({"profile", data, "--max-nominal=5", "--summaries"});
  ASSERT_EQ(0, toStdout.status);
  EXPECT_EQ(xml, toStdout.out);

  Result checked = Run({"check", Path("people.xml")});
  EXPECT_EQ(0, checked.status);
  EXPECT_THAT(checked.out, HasSubstr("5 fields"));

  // The document is indented and ends in a line end, yet loads to what the library exports.
  std::string expected;
  ASSERT_TRUE(metadata.ExportXMLDoc(expected));
  EXPECT_THAT(xml, HasSubstr(">\n  <"));
  EXPECT_EQ('\n', xml.back());
  Result exported = Run({"export", Path("people.xml")});
  ASSERT_EQ(0, exported.status);
  EXPECT_EQ(xml, exported.out);
  Result compact = Run({"export", "--compact", Path("people.xml")});
  ASSERT_EQ(0, compact.status);
  EXPECT_EQ(expected.c_str(), compact.out);

  Result shown = Run({"show", Path("people.xml")});
  ASSERT_EQ(0, shown.status) << shown.err;
  EXPECT_THAT(shown.out, HasSubstr("Fields: 5"));
  EXPECT_THAT(shown.out, HasSubstr("min 48000.00  max 75500.75  mean 57416.9167"));
  EXPECT_THAT(shown.out, HasSubstr("Leeds: 3, York: 2, Hull: 1"));
  EXPECT_THAT(shown.out, HasSubstr("Records: 6 (weighted 6)"));
  EXPECT_THAT(shown.out, HasSubstr("Summaries: 5"));
  EXPECT_THAT(shown.out,
              HasSubstr("city: valid 6, missing 0; mode Leeds, median Leeds; 3 categories"));
  EXPECT_THAT(shown.out, HasSubstr("note: valid 5, missing 1;"));

  // A tab-delimited copy reads the same.
  std::string tabbed = kSample;
  for (char& c : tabbed) c = c == ',' ? '\t' : c;
  tabbed.replace(tabbed.find("likes\t commas"), 13, "likes, commas");
  Result fromTabs = Run({"profile", Write("people.tsv", tabbed), "--delimiter", "\\t",
                         "--max-nominal", "5", "--summaries"});
  ASSERT_EQ(0, fromTabs.status) << fromTabs.err;
  EXPECT_EQ(xml, fromTabs.out);
}

// The demo's document is kept as it was first written: a change in how the tool builds fields,
// formats or summaries must not change a byte of it. Without --summaries the same document
// comes out with no summaries element; with --compact it is the library's own export of it.
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

  CFMetaData pinned(expected, nullptr);
  std::string exported;
  ASSERT_TRUE(pinned.ExportXMLDoc(exported));
  args = demo;
  args.insert(args.end(), {"--summaries", "--compact"});
  Result compact = Run(args);
  ASSERT_EQ(0, compact.status) << compact.err;
  EXPECT_TRUE(compact.out == exported.c_str()) << "--compact is not the library's export";

  // The summaries element stands on lines of its own.
  const std::string tag = CfCppHelperV1::XMLElements::DatasetSummaries;
  const size_t from = expected.rfind('\n', expected.find("<" + tag + ">"));
  const size_t to = expected.find("</" + tag + ">");
  ASSERT_NE(std::string::npos, from);
  ASSERT_NE(std::string::npos, to);
  std::string withoutSummaries = expected;
  withoutSummaries.erase(from, to + tag.size() + 3 - from);
  Result plain = Run(demo);
  ASSERT_EQ(0, plain.status) << plain.err;
  EXPECT_TRUE(plain.out == withoutSummaries) << "the demo document without summaries changed";
}

// Given data, show profiles it as profile --summaries does, from a file or standard input,
// and shows nulls from the summaries or, without them, from the statistics; columns empty for
// every field are left out, and a width cuts the widest long columns.
TEST_F(CliTest, ShowProfilesDataAndListsNulls) {
  const std::string data = Write("codes.csv",
                                 "id,code,name,score\n"
                                 "1,007,Ann,3.5\n"
                                 "2,008,,\n"
                                 "3,,Bob,4\n");
  ASSERT_EQ(0, Run({"profile", data, "-o", Path("plain.xml")}).status);  // no summaries
  const std::string heading =
      "name   storage  measure  role   values  nulls      missing values  format               "
      "statistics\n";
  const std::string code =
      "code   string   flag     input  2       1 (33.3%)  null                                 "
      "007: 1, 008: 1\n";
  const std::string survey = CFMETA_TESTDATA_DIR "/survey.xml";
  struct Row {
    std::vector<std::string> args;
    std::string input;  // standard input's file
    std::vector<std::string> env;
    std::vector<std::string> shown;
    std::vector<std::string> absent;
  } rows[] = {
      {{"show", data}, "", {}, {heading, code, "code: valid 2, missing 1;"}, {}},
      {{"show", "-"}, data, {}, {heading, code, "code: valid 2, missing 1;"}, {}},
      {{"show", Path("plain.xml")}, "", {}, {heading, code}, {"Summaries:"}},
      {{"show", "-"}, Path("plain.xml"), {}, {heading, code}, {}},
      {{"show", survey},
       "",
       {},
       {"name          storage  measure     role        label                       values  labels"
        "  missing values  format\n"},
       {"nulls", "statistics", "\u2026"}},
      // 104 characters wide: format and statistics, the widest, are cut to 13 each.
      {{"show", data},
       "",
       {"COLUMNS=95"},
       {"missing values  format         statistics\n",
        "id     integer  nominal  input  3       0 (0%)     null            standard w=f\u2026  "
        "1: 1, 2: 1, \u2026\n"},
       {"3: 1"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.args) + " < " + row.input);
    Result shown = Run(row.args, row.input, row.env);
    ASSERT_EQ(0, shown.status) << shown.err;
    EXPECT_EQ("", shown.err);
    for (const std::string& line : row.shown) EXPECT_THAT(shown.out, HasSubstr(line));
    for (const std::string& text : row.absent) EXPECT_THAT(shown.out, Not(HasSubstr(text)));
  }
}

// On a terminal, profile shows the table fitted to the terminal's width and says how to get
// the document; show fits the same width.
TEST_F(CliTest, TerminalGetsTheTableFittedToItsWidth) {
  const std::string data = Write("codes.csv", "id,code,name,score\n1,007,Ann,3.5\n2,008,,\n");
  const std::string cut = "standard w=f\u2026  1: 1, 2: 1\n";  // 95 wide, from 102
  for (const char* command : {"profile", "show"}) {
    SCOPED_TRACE(command);
    Result result = Run({command, data}, "", {}, 95);
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out, HasSubstr(cut));
    EXPECT_THAT(result.out, Not(HasSubstr("<")));
    EXPECT_EQ(std::string(command) == "profile", result.err.find("-o FILE") != std::string::npos)
        << result.err;
  }
}

// Warnings and the closing line of a long profile go to standard error unless --quiet.
TEST_F(CliTest, QuietSilencesWarningsAndTheClosingLine) {
  const std::string dates = Write("dates.csv", "day\n01/02/2024\n03/04/2024\n");
  std::string big = "a,b\n";
  const std::string row = "1234567,8.5\n";
  const size_t rows = 10000000 / row.size() + 1;  // past 10 MB
  for (size_t i = 0; i < rows; ++i) big += row;
  const std::string large = Write("large.csv", big);
  struct Row {
    std::vector<std::string> args;
    std::string err;  // a regular expression
  } cases[] = {
      {{"show", dates}, "cfmeta: warning: " + dates + ": column 'day': .*\n"},
      {{"show", dates, "--quiet"}, ""},
      {{"profile", dates, "-q", "-o", Path("dates.xml")}, ""},
      {{"profile", large, "-o", Path("large.xml")},
       "cfmeta: " + large + ": " + std::to_string(rows) + " rows, 2 columns in [0-9]+\\.[0-9] s\n"},
      {{"profile", large, "--quiet", "-o", Path("large.xml")}, ""},
  };
  for (const Row& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    Result result = Run(c.args);
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.err, ::testing::MatchesRegex(c.err));
  }
}

TEST_F(CliTest, BadInputExitsOneNamingTheFile) {
  std::string ragged = Write("ragged.csv", "a,b\n1,2\n3\n");
  std::string empty = Write("empty.csv", "");
  std::string money = Write("money.csv", "price,share,name\n1234.5,12.5,a\n-20,7.25,b\n");
  std::string survey = CFMETA_TESTDATA_DIR "/survey.xml";
  struct Row {
    std::vector<std::string> args;
    std::string message;
  } rows[] = {
      {{"profile", ragged}, ragged + ": line 3: 1 cell, but the header has 2"},
      {{"profile", empty}, empty + ": the file is empty: there is no header row"},
      {{"profile", Path("absent.csv")},
       Path("absent.csv") + ": cannot read: No such file or directory"},
      {{"profile", Write("ok.csv", "a\n1\n"), "-o", Path("no/such.xml")},
       Path("no/such.xml") + ": cannot write: No such file or directory"},
      {{"profile", money, "--currency", "price,cost"},
       money + ": line 1: header: there is no column 'cost' to show as currency"},
      {{"profile", money, "--percent", "name"},
       money + ": column 'name' is not numeric, so it cannot show as a percentage"},
      {{"profile", money, "--currency", "price", "--currency-symbol", "0$"},
       money + ": column 'price': the currency symbol '0$' cannot start with 0"},
      {{"format", survey, "Nobody", "1"}, survey + ": no field is named 'Nobody'"},
      {{"format", survey, "Income", "12abc"},
       survey + ": '12abc' is not a value of field 'Income', whose storage is real"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.args));
    Result result = Run(row.args);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("cfmeta: " + row.message + "\n", result.err);
  }
}

// Delimiters, encodings, quotes left open and ragged rows seen in real files: each is either
// read as meant or named with its line and the option that helps.
TEST_F(CliTest, ProfileInputMistakesGetAClearWord) {
  const std::string in = Path("in.csv");
  auto warning = [&](const std::string& text) { return "cfmeta: warning: " + in + ": " + text; };
  auto error = [&](const std::string& text) { return "cfmeta: " + in + ": " + text + "\n"; };
  const std::string semicolons = "a;b;c;d;e\n1;2;3;4;5\n6;7;8;9;10\n";
  const std::string latin1 = "name,city\nAnn,Leeds\nJos\xE9,M\xFCnchen\n";
  // A quote opened on line 2 runs on in lines of 1 KiB: 5 + 1024 * 1024 bytes, one more than
  // 1 MiB, by the end of line 1026.
  std::string runOn = "a,b\n1,\"open\n";
  for (int i = 0; i < 1100; ++i) runOn += std::string(1023, 'y') + "\n";
  const std::string skipped = "skipped 2 rows whose number of cells differs from the header's";
  struct Row {
    std::string data;
    std::vector<std::string> options;
    int status;
    std::string err;  // all of standard error; a part of it for bad usage
    std::string out;  // a part of the JSON profile
  } rows[] = {
      {semicolons, {}, 0, "", "\"name\": \"e\""},
      {semicolons,
       {"--delimiter", ","},
       0,
       warning("the header is one column with ','; it splits into 5 with ';' (--delimiter ';')\n"),
       "\"name\": \"a;b;c;d;e\""},
      {"name\tnote\nAnn\tsays, hi\nBo\tok\n", {}, 0, "", "\"value\": \"says, hi\""},
      {latin1,
       {},
       1,
       error("line 3: bytes that are not UTF-8; pass --encoding latin1 (or windows-1252, "
             "iso-8859-15, ...) if the file is in another encoding"),
       ""},
      {latin1, {"--encoding", "latin1"}, 0, "", "\"value\": \"M\xC3\xBCnchen\""},
      {latin1, {"--encoding", "klingon"}, 2, "unknown encoding 'klingon'", ""},
      {"a,b\n1,\"open\n2,3\n", {}, 1, error("a quoted cell opened on line 2 is never closed"), ""},
      {runOn,
       {"--max-cell-mib", "1"},
       1,
       error("line 1026: a cell longer than 1 MiB (--max-cell-mib raises the limit); is a quote "
             "left open since line 2?"),
       ""},
      {runOn,
       {"--max-cell-mib", "2"},
       1,
       error("a quoted cell opened on line 2 is never closed"),
       ""},
      // Both columns would turn text if any cell of the skipped rows reached the profile.
      {"a,b\n1,2\nx,y,z\n7,8\nonly\n",
       {"--skip-bad-rows"},
       0,
       warning(skipped + " (first on line 3)\n"),
       "\"storage\": \"integer\""},
      // Detection goes by what most lines agree with when some rows are ragged.
      {"a;b;c\n1;2;3\n4;5\n6;7;8\n",
       {"--skip-bad-rows"},
       0,
       warning("skipped 1 row whose number of cells differs from the header's (on line 3)\n"),
       "\"name\": \"c\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.options) + " " + row.data.substr(0, 40));
    Write("in.csv", row.data);
    std::vector<std::string> args{"profile", in, "--json"};
    args.insert(args.end(), row.options.begin(), row.options.end());
    Result result = Run(args);
    EXPECT_EQ(row.status, result.status);
    if (row.status == 2) {
      EXPECT_THAT(result.err, HasSubstr(row.err));
    } else {
      EXPECT_EQ(row.err, result.err);
    }
    EXPECT_THAT(result.out, HasSubstr(row.out));
  }

  // Standard input is detected on its first piece.
  Write("in.csv", semicolons);
  Result piped = Run({"profile", "-", "--json"}, in);
  EXPECT_EQ(0, piped.status);
  EXPECT_THAT(piped.out, HasSubstr("\"name\": \"e\""));
}

// An output that cannot be written is named before any data is read; a failed profile leaves
// no new file behind and an old one as it was.
TEST_F(CliTest, ProfileOutputIsCheckedFirstAndWrittenOnlyWhenReady) {
  const std::string ragged = Write("ragged.csv", "a,b\n1,2\n3\n");
  const std::string raggedError = "cfmeta: " + ragged + ": line 3: 1 cell, but the header has 2\n";
  Write("old.xml", "old");
  struct Row {
    std::string output;
    std::string err;
    const char* left;  // what the output path holds afterwards; null for nothing
  } rows[] = {
      {Path("no/such.xml"),
       "cfmeta: " + Path("no/such.xml") + ": cannot write: No such file or directory\n", nullptr},
      {Path(""), "cfmeta: " + Path("") + ": cannot write: Is a directory\n", nullptr},
      {Path("new.xml"), raggedError, nullptr},
      {Path("old.xml"), raggedError, "old"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.output);
    Result result = Run({"profile", ragged, "-o", row.output});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(row.err, result.err);
    if (row.left != nullptr) {
      EXPECT_EQ(row.left, Slurp(row.output));
    } else if (row.output != Path("")) {
      EXPECT_FALSE(std::filesystem::exists(row.output));
    }
  }
  Result replaced = Run({"profile", Write("ok.csv", "a\n1\n"), "-o", Path("old.xml")});
  ASSERT_EQ(0, replaced.status) << replaced.err;
  EXPECT_EQ(Slurp(Path("old.xml")).rfind("<?xml", 0), 0u);
}

// Every command that reads a document says in one line why it does not load: where the text
// stops being XML, or which element breaks which rule.
TEST_F(CliTest, DocumentThatDoesNotLoadIsReportedInOneLine) {
  using cfmeta_test::MakeElement;
  namespace XMLElements = CfCppHelperV1::XMLElements;
  namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
  const std::string field = MakeElement(XMLElements::Field, {{XMLAttributes::Name, "a"}});
  auto document = [](const std::string& fields) {
    return MakeElement(XMLElements::DataModel, {}, MakeElement(XMLElements::Fields, {}, fields));
  };
  const std::string fieldsPath =
      std::string("/") + XMLElements::DataModel + "/" + XMLElements::Fields + "/";
  const std::string zeroWidth = MakeElement(
      XMLElements::Field, {{XMLAttributes::Name, "a"}},
      MakeElement(XMLElements::FieldFormat, {},
                  MakeElement(XMLElements::NumberFormat, {{XMLAttributes::Width, "0"}})));
  struct Row {
    std::string path;
    std::string message;  // what follows the path
  } rows[] = {
      {Write("open.xml", "<" + std::string(XMLElements::DataModel) + ">\n  <" +
                             XMLElements::Fields + ">\n</" + XMLElements::DataModel + ">\n"),
       std::string(":3:3: error: expected end of tag '") + XMLElements::Fields + "'"},
      {Write("foreign.xml", MakeElement("Other", {}, MakeElement(XMLElements::Field, {}))),
       std::string(": error: /Other: the root element Other holds no ") + XMLElements::Fields +
           " element"},
      {Write("width.xml", document(zeroWidth)),
       ": error: " + fieldsPath + XMLElements::Field + "/" + XMLElements::FieldFormat + "/" +
           XMLElements::NumberFormat + ": " + XMLAttributes::Width + " must be given and not 0"},
      {Write("twice.xml", document(field + field)),
       ": error: " + fieldsPath + XMLElements::Field + "[2]: duplicate field name 'a'"},
      {Write("none.xml", document("")),
       std::string(": error: the document holds no ") + XMLElements::Field + " element"},
      {Write("blank.xml", " \n"), ": error: the file is empty"},
      // Cut at the NUL, the text would load.
      {Write("nul.xml", document(field) + std::string(1, '\0') + "<"),
       ": error: the file holds a NUL byte"},
      {Path("absent.xml"), ": error: cannot read: No such file or directory"},
      {Path(""), ": error: cannot read: Is a directory"},
  };
  for (const Row& row : rows) {
    for (const char* command : {"check", "show", "export"}) {
      SCOPED_TRACE(std::string(command) + " " + row.path);
      Result result = Run({command, row.path});
      EXPECT_EQ(1, result.status);
      EXPECT_EQ("", result.out);
      EXPECT_EQ(row.path + row.message + "\n", result.err);
    }
  }
}

TEST_F(CliTest, BadUsageExitsTwoAndHelpExitsZero) {
  std::string data = Write("d.csv", "a\n1\n");
  const std::vector<std::string> bad[] = {
      {},
      {"frobnicate"},
      {"profile"},
      {"profile", data, "--max-categories", "-1"},
      {"profile", data, "--max-categories", "many"},
      {"profile", data, "--max-nominal", "-1"},
      {"profile", data, "--decimal", ";"},
      {"profile", data, "--thousands", "_"},
      {"profile", data, "--decimal", ",", "--thousands", ","},
      {"profile", data, "--delimiter", "ab"},
      {"profile", data, "--delimiter", "\""},
      {"profile", data, "--max-cell-mib", "0"},
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

// Columns of dates, times and timestamps, numbers with a decimal comma, and columns given as
// money or percentages, show and format as the data wrote them.
TEST_F(CliTest, DatedAndDecoratedColumnsShowAndFormatAsSuch) {
  struct Row {
    const char* data;
    std::vector<std::string> options;
    std::vector<std::string> shown;   // parts of the table's lines
    std::vector<std::string> format;  // a field, then values
    const char* formatted;
  } rows[] = {
      {"day,at,stamp\n"
       "2024-02-29,08:15,2024-02-29T08:15:00\n"
       "1999-12-31,23:59:59.5,1999-12-31 23:59:59Z\n"
       ",,\n",
       {},
       {"min 1999-12-31  max 2024-02-29", "min 08:15:00.0  max 23:59:59.5",
        "min 1999-12-31 23:59:59  max 2024-02-29 08:15:00"},
       {"day", "2000-03-01", "0"},
       "2000-03-01\n1970-01-01\n"},
      {"price,share,name\n1234.5,12.5,a\n-20,7.25,b\n",
       {"--max-nominal", "1", "--currency", "price", "--percent=share"},
       {"min -$20.0  max $1,234.5", "min 7.25%  max 12.50%"},
       {"price", "-1234567.25"},
       "-$1,234,567.2\n"},
      {"amount;code\n1.234,5;x\n-20,25;n/a\n;-\n",
       {"--delimiter", ";", "--decimal", ",", "--null", "n/a", "--max-nominal", "0"},
       {"min -20,25  max 1.234,50", "null,n/a                             -: 1, x: 1"},
       {"amount", "1234567.5"},
       "1.234.567,50\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.data);
    std::vector<std::string> profile{"profile", Write("data.csv", row.data), "-o",
                                     Path("data.xml")};
    profile.insert(profile.end(), row.options.begin(), row.options.end());
    Result profiled = Run(profile);
    ASSERT_EQ(0, profiled.status) << profiled.err;
    Result shown = Run({"show", Path("data.xml")});
    ASSERT_EQ(0, shown.status) << shown.err;
    for (const std::string& line : row.shown) EXPECT_THAT(shown.out, HasSubstr(line));
    std::vector<std::string> format{"format", Path("data.xml")};
    format.insert(format.end(), row.format.begin(), row.format.end());
    Result formatted = Run(format);
    ASSERT_EQ(0, formatted.status) << formatted.err;
    EXPECT_EQ(row.formatted, formatted.out);
  }
}

TEST_F(CliTest, ShowListsModelRolesGeometriesGroupsAndEveryFormatClass) {
  struct Row {
    const char* file;
    std::vector<std::string> lines;  // each a part of one line of the table
  } rows[] = {
      {"scoring.xml", {"$RP-Churn-yes  probability             Churn = yes"}},
      {"survey.xml",
       {"Field groups: 2",
        "Demographics  fieldGroup  About the respondent  -        Region, Employed"}},
      {"geography.xml", {"Location  point         wkid 4326, geographic"}},
      {"formats.xml",
       {"Dollars  currency w=14 d=2 \"$#\" neg \"($#)\"  numbers", "Hex      string w=16 hex",
        "date d_monthName_Y w=free + time h_M w=5 d=0"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.file);
    Result shown = Run({"show", std::string(CFMETA_TESTDATA_DIR "/") + row.file});
    ASSERT_EQ(0, shown.status) << shown.err;
    for (const std::string& line : row.lines) EXPECT_THAT(shown.out, HasSubstr(line));
  }
}

TEST_F(CliTest, FormatRendersThroughTheFieldsFormat) {
  struct Row {
    const char* file;
    std::vector<std::string> args;  // the field, then values
    const char* text;
  } rows[] = {
      // The document's default number format: width 12, two decimals, grouped by commas.
      {"survey.xml", {"Income", "1234567.891", "-5", ""}, "1,234,567.89\n       -5.00\n.\n"},
      {"survey.xml", {"Region", "North"}, "North\n"},  // no format at all
      // One field per format class.
      {"formats.xml", {"Amount", "-1234.5"}, "   ($1,234.50)\n"},  // decorated, shared
      {"formats.xml", {"Weight", "1234.5"}, "  1,234E+003\n"},     // scientific, shared
      {"formats.xml", {"Token", "abc", ""}, "abc\n.\n"},  // string: null is "." all the same
      {"formats.xml", {"Ordered", "2024-02-29"}, "2024-02-29\n"},  // date, shared
      {"formats.xml", {"Shipped", "2024-02-29T13:45:07"}, "29 Feb 24 13:45\n"},
      {"formats.xml", {"Handling", "90061"}, "1 1:1:1\n"},  // a duration, unpadded
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.args[0]);
    std::vector<std::string> args{"format", std::string(CFMETA_TESTDATA_DIR "/") + row.file};
    args.insert(args.end(), row.args.begin(), row.args.end());
    Result result = Run(args);
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ(row.text, result.out);
  }
}

}  // namespace
