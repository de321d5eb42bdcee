// cfmeta: profile a delimited data file into a metadata document, and inspect one.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/xml/cfxmlwrapper.h"
#include "tools/cfmeta/csvreader.h"
#include "tools/cfmeta/document.h"
#include "tools/cfmeta/profilejson.h"
#include "tools/cfmeta/profiler.h"
#include "tools/cfmeta/progress.h"
#include "tools/cfmeta/show.h"
#include "tools/cfmeta/toolerror.h"

namespace {

using namespace cfmeta_tool;

constexpr size_t kReadBytes = size_t{1} << 20;

class XMLPlatform {
 public:
  XMLPlatform() { CfExtension::CFXMLWrapper::startup(false); }
  ~XMLPlatform() { CfExtension::CFXMLWrapper::shutdown(false); }
};

struct ProfileArgs {
  std::string data;
  std::string output;
  std::string delimiter = ",";
  unsigned maxCategories = Profiler::kDefaultMaxCategories;
  unsigned maxNominal = Profiler::kDefaultMaxNominal;
  std::vector<std::string> nulls = Profiler::DefaultNullTokens();
  std::string decimal = ".";
  std::string thousands;  // empty: what goes with the decimal symbol
  std::vector<std::string> currency;
  std::vector<std::string> percent;
  std::string currencySymbol = "$";
  bool summaries = false;
  bool json = false;
};

char DelimiterChar(const std::string& text) {
  return text == "\\t" || text == "tab" ? '\t' : text[0];
}

// The characters that group digits: those given, or by default none after a decimal point and
// a point or a space after a decimal comma.
std::string GroupingChars(const ProfileArgs& args) {
  if (args.thousands.empty()) return args.decimal == "," ? ". " : "";
  if (args.thousands == "none") return "";
  return args.thousands == "space" ? " " : args.thousands;
}

void Profile(const ProfileArgs& args) {
  bool standardInput = args.data == "-";
  std::string name = standardInput ? "standard input" : args.data;
  int fd = standardInput ? STDIN_FILENO : open(args.data.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw ToolError(fmt::format("{}: cannot read: {}", name, std::strerror(errno)));
  struct FdCloser {
    int fd;
    ~FdCloser() {
      if (fd != STDIN_FILENO) close(fd);
    }
  } closer{fd};
  struct stat info;
  if (fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
    throw ToolError(fmt::format("{}: cannot read: {}", name, std::strerror(EISDIR)));
  }
  uint64_t total = (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) ? info.st_size : 0;

  Profiler profiler(args.maxCategories, args.summaries, args.json);
  profiler.SetMaxNominal(args.maxNominal);
  profiler.SetNullTokens(args.nulls);
  profiler.SetNumberForm(args.decimal[0], GroupingChars(args));
  for (const std::string& column : args.currency) {
    profiler.Decorate(column, Profiler::Decoration::Currency, args.currencySymbol);
  }
  for (const std::string& column : args.percent) {
    profiler.Decorate(column, Profiler::Decoration::Percent);
  }
  CsvReader reader(name, DelimiterChar(args.delimiter), profiler);
  Progress progress(total, isatty(STDERR_FILENO) == 1);
  std::vector<char> buffer(kReadBytes);
  uint64_t done = 0;
  for (;;) {
    ssize_t n = read(fd, buffer.data(), buffer.size());
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      throw ToolError(fmt::format("{}: cannot read: {}", name, std::strerror(errno)));
    }
    reader.Feed(buffer.data(), static_cast<size_t>(n));
    done += static_cast<uint64_t>(n);
    progress.Update(done);
  }
  reader.Finish();
  progress.Finish();

  std::vector<std::string> warnings;
  std::vector<ColumnProfile> columns;
  std::unique_ptr<CFMetaData> metadata;
  try {
    metadata = profiler.Finish(warnings, &columns);
  } catch (const ToolError& e) {
    throw ToolError(fmt::format("{}: {}", name, e.what()), e.ExitCode());
  }
  for (const std::string& warning : warnings) {
    std::cerr << "cfmeta: warning: " << name << ": " << warning << '\n';
  }
  if (args.json) {
    WriteText(args.output, ProfileJson(columns, profiler.Rows()));
    return;
  }
  // A failed export is reported below; the XML layer's own words would land in the document.
  metadata->SetMessageStream(nullptr);
  std::string xml;
  if (!metadata->ExportXMLDoc(xml)) {
    throw ToolError(fmt::format("{}: cannot write its metadata document", name));
  }
  WriteText(args.output, xml);
}

void Check(const std::string& path) {
  std::unique_ptr<CFMetaData> metadata = LoadDocument(path);
  std::cout << fmt::format("{}: a valid metadata document with {} field{}\n", path,
                           metadata->FieldCount(), metadata->FieldCount() == 1 ? "" : "s");
}

void Export(const std::string& path) {
  std::unique_ptr<CFMetaData> metadata = LoadDocument(path);
  std::string xml;
  if (!metadata->ExportXMLDoc(xml)) throw ToolError(fmt::format("{}: cannot export it", path));
  WriteText("", xml);
}

void Format(const std::string& path, const std::string& fieldName,
            const std::vector<std::string>& texts) {
  std::unique_ptr<CFMetaData> metadata = LoadDocument(path);
  const CFField* field = metadata->GetField(fieldName);
  if (field == nullptr) throw ToolError(fmt::format("{}: no field is named '{}'", path, fieldName));
  std::vector<CFDatum> values(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    if (!ParseValue(texts[i], field->GetStorage(), values[i])) {
      throw ToolError(fmt::format("{}: '{}' is not a value of field '{}', whose storage is {}",
                                  path, texts[i], fieldName,
                                  EntityText(CFField::kStorageTable, field->GetStorage())));
    }
  }
  const CFFormat* format = metadata->GetDisplayFormat(*field);
  std::string out;
  CFFormat::ValueUnits units = UnitsOf(field->GetStorage());
  for (const CFDatum& value : values) out += Render(value, format, units) + '\n';
  std::cout << out << std::flush;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Profiles delimited data into a metadata document, and inspects one.", "cfmeta");
  app.require_subcommand(1);
  app.set_version_flag("--version", CFMETA_VERSION);
  app.footer(
      "Exit status: 0 done, 1 bad or unreadable input, 2 bad usage.\n"
      "Run 'cfmeta COMMAND --help' for a command's options.");

  ProfileArgs profileArgs;
  CLI::App* profile = app.add_subcommand(
      "profile",
      "Reads a delimited text file with a header row in one pass and writes its metadata "
      "document. Columns get integer, real, string, date, time or timestamp storage; dates and "
      "times are recognised in the usual written forms (2015-01-31, 2015/01/31 10:00, "
      "01/31/2015, 31.01.2015, Jan 31 2015, 31 January 2015, 10:00 PM), the day and month "
      "order settled by the values. Numbers may have blanks around them, a decimal comma "
      "(--decimal) and digits grouped in threes (--thousands). A numeric column with at most "
      "--max-nominal distinct values is nominal, or flag with exactly two; with more it is "
      "continuous. String columns are always nominal or flag. A categorical column keeps its "
      "value list only up to --max-categories distinct values. Empty cells and the --null "
      "tokens are null; a string column lists the tokens it holds as missing values. Number "
      "formats show every value as written, in scientific notation when more than 10 decimals "
      "or more than 23 characters would be needed.");
  profile
      ->add_option("DATA", profileArgs.data,
                   "The data file (RFC 4180 quoting, UTF-8); - reads standard input")
      ->required();
  profile->add_option("-o,--output", profileArgs.output,
                      "Where to write the document (default: standard output)");
  profile
      ->add_option("--delimiter", profileArgs.delimiter,
                   "The cell delimiter: one character, or \\t (or tab) for a tab")
      ->capture_default_str()
      ->check(CLI::Validator(
          [](std::string& text) {
            if (text.size() == 1 || text == "\\t" || text == "tab") {
              char c = DelimiterChar(text);
              if (c != '"' && c != '\n' && c != '\r') return std::string();
            }
            return std::string(
                "the delimiter must be one character other than a quote or a line end");
          },
          "CHAR"));
  profile
      ->add_option("--max-categories", profileArgs.maxCategories,
                   "A categorical column with more distinct values keeps no value list or "
                   "category counts")
      ->capture_default_str()
      ->check(CLI::Range(0u, 1000000u));
  profile
      ->add_option("--max-nominal", profileArgs.maxNominal,
                   "A numeric column with at most this many distinct values is categorical, "
                   "with more continuous; 0 makes every numeric column continuous")
      ->capture_default_str()
      ->check(CLI::Range(0u, 1000000u));
  profile
      ->add_option("--null", profileArgs.nulls,
                   "A cell text that stands for null, in place of the defaults; repeat for more. "
                   "Empty cells are always null, so --null '' alone leaves only them")
      ->default_str("NA N/A NaN null NULL -")
      ->allow_extra_args(false)
      ->type_name("TOKEN");
  profile
      ->add_option("--decimal", profileArgs.decimal,
                   "The decimal symbol: . or , (which makes . and space group digits)")
      ->capture_default_str()
      ->check(CLI::IsMember({".", ","}));
  profile
      ->add_option("--thousands", profileArgs.thousands,
                   "The character that groups digits in threes: , . space or none (default: "
                   "none after a decimal point, . and space after a decimal comma)")
      ->check(CLI::IsMember({",", ".", " ", "space", "none"}));

  profile
      ->add_option("--currency", profileArgs.currency,
                   "Numeric columns to show as money: the currency symbol before the number")
      ->delimiter(',')
      ->type_name("COLUMN[,COLUMN...]");
  profile
      ->add_option("--percent", profileArgs.percent,
                   "Numeric columns to show as percentages: a % after the number as it stands")
      ->delimiter(',')
      ->type_name("COLUMN[,COLUMN...]");
  profile->add_option("--currency-symbol", profileArgs.currencySymbol, "The currency symbol")
      ->capture_default_str();
  profile->add_flag("--summaries", profileArgs.summaries,
                    "Also store dataset summaries: valid and missing counts, moments up to the "
                    "fourth, percentiles, outlier bounds and a histogram of continuous fields, "
                    "distributions of categorical ones (the most frequent values of text "
                    "columns beyond --max-categories)");
  profile->add_flag("--json", profileArgs.json,
                    "Write the whole profile as JSON instead of a document: per column counts, "
                    "distinct values, the most frequent values, extremes, moments, percentiles, "
                    "a histogram, text lengths and the date form recognised");

  std::string showPath, checkPath, exportPath, formatPath, formatField;
  std::vector<std::string> formatValues;
  CLI::App* show = app.add_subcommand(
      "show",
      "Prints a table of the document's fields, then its record counts and shared formats. A "
      "document that does not load is reported as check reports it.");
  show->add_option("FILE", showPath, "The metadata document")->required();
  CLI::App* check = app.add_subcommand(
      "check",
      "Exits 0 when the document loads with at least one field; otherwise prints one line on "
      "standard error and exits 1: 'FILE:LINE:COL: error: MESSAGE' for text that is not "
      "well-formed XML, 'FILE: error: PATH: MESSAGE' for XML that does not load as metadata "
      "(PATH is the offending element), 'FILE: error: MESSAGE' for a file that cannot be read, "
      "is empty, holds a NUL byte or has no field.");
  check->add_option("FILE", checkPath, "The metadata document")->required();
  CLI::App* exportCmd = app.add_subcommand(
      "export",
      "Loads the document and writes it again, normalised, to standard output. A document that "
      "does not load is reported as check reports it.");
  exportCmd->add_option("FILE", exportPath, "The metadata document")->required();
  CLI::App* format = app.add_subcommand(
      "format",
      "Renders values through a field's display format, one per line. An empty value is null.");
  format->add_option("FILE", formatPath, "The metadata document")->required();
  format->add_option("FIELD", formatField, "The field's name")->required();
  format->add_option("VALUE", formatValues, "Values to render")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : kExitBadUsage;
  }

  try {
    XMLPlatform platform;
    if (profile->parsed()) Profile(profileArgs);
    if (show->parsed()) WriteTable(*LoadDocument(showPath), std::cout);
    if (check->parsed()) Check(checkPath);
    if (exportCmd->parsed()) Export(exportPath);
    if (format->parsed()) Format(formatPath, formatField, formatValues);
    std::cout.flush();
    if (!std::cout) throw ToolError("standard output: cannot write");
  } catch (const ToolError& e) {
    std::cerr << (e.AfterTheToolName() ? "cfmeta: " : "") << e.what() << '\n';
    return e.ExitCode();
  } catch (const std::bad_alloc&) {
    std::cerr << "cfmeta: out of memory\n";
    return kExitBadInput;
  }
  return 0;
}
