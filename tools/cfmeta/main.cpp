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
#include "tools/cfmeta/outputfile.h"
#include "tools/cfmeta/profilejson.h"
#include "tools/cfmeta/profiler.h"
#include "tools/cfmeta/progress.h"
#include "tools/cfmeta/show.h"
#include "tools/cfmeta/toolerror.h"
#include "tools/cfmeta/transcoder.h"

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
  std::string delimiter = "auto";
  std::string encoding = "utf-8";
  unsigned maxCellMib = CsvOptions::kDefaultMaxCellBytes >> 20;
  bool skipBadRows = false;
  unsigned maxCategories = Profiler::kDefaultMaxCategories;
  std::vector<std::string> currency;
  std::vector<std::string> percent;
  std::string currencySymbol = "$";
  bool summaries = false;
  bool json = false;
};

char DelimiterChar(const std::string& text) {
  if (text == "auto") return CsvOptions::kDetect;
  return text == "\\t" || text == "tab" ? '\t' : text[0];
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
  std::unique_ptr<OutputFile> output;
  if (!args.output.empty()) output = std::make_unique<OutputFile>(args.output);

  Profiler profiler(args.maxCategories, args.summaries, args.json);
  for (const std::string& column : args.currency) {
    profiler.Decorate(column, Profiler::Decoration::Currency, args.currencySymbol);
  }
  for (const std::string& column : args.percent) {
    profiler.Decorate(column, Profiler::Decoration::Percent);
  }
  CsvOptions options;
  options.delimiter = DelimiterChar(args.delimiter);
  options.encoding = args.encoding;
  options.skipBadRows = args.skipBadRows;
  options.maxCellBytes = size_t{args.maxCellMib} << 20;
  options.warn = [&name](const std::string& warning) {
    std::cerr << "cfmeta: warning: " << name << ": " << warning << '\n';
  };
  CsvReader reader(name, options, profiler);
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
  progress.Finish();
  reader.Finish();

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
    std::string json = ProfileJson(columns, profiler.Rows());
    if (output) {
      output->Write(json);
    } else {
      WriteText("", json);
    }
    return;
  }
  // A failed export is reported below; the XML layer's own words would land in the document.
  metadata->SetMessageStream(nullptr);
  std::string xml;
  if (!metadata->ExportXMLDoc(xml)) {
    throw ToolError(fmt::format("{}: cannot write its metadata document", name));
  }
  if (output) {
    output->Write(xml);
  } else {
    WriteText("", xml);
  }
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
      "order settled by the values. A numeric column with more than "
      "--max-categories distinct values is continuous; others are nominal, or flag with exactly "
      "two values; string columns are always nominal or flag. Empty cells are null.");
  profile
      ->add_option("DATA", profileArgs.data,
                   "The data file (RFC 4180 quoting, UTF-8 unless --encoding says otherwise); - "
                   "reads standard input")
      ->required();
  profile->add_option("-o,--output", profileArgs.output,
                      "Where to write the document (default: standard output). It is opened "
                      "before the data is read; an existing file keeps its content until the "
                      "document is ready, and a new one is removed when profiling fails");
  profile
      ->add_option("--delimiter", profileArgs.delimiter,
                   "The cell delimiter: auto (the one of , ; tab | that splits the header into "
                   "the most columns and the first lines into as many; , when none does), one "
                   "character, or \\t (or tab) for a tab. A given delimiter that leaves the "
                   "header one column, where another would split it, gets a warning")
      ->capture_default_str()
      ->check(CLI::Validator(
          [](std::string& text) {
            if (text == "auto") return std::string();
            if (text.size() == 1 || text == "\\t" || text == "tab") {
              char c = DelimiterChar(text);
              if (c != '"' && c != '\n' && c != '\r') return std::string();
            }
            return std::string(
                "the delimiter must be auto or one character other than a quote or a line end");
          },
          "CHAR"));
  profile
      ->add_option("--encoding", profileArgs.encoding,
                   "The data's encoding (latin1, windows-1252, iso-8859-15, utf-16, ...: any name "
                   "ICU knows); other than UTF-8 it is converted to UTF-8 as it is read")
      ->capture_default_str()
      ->check(CLI::Validator(
          [](std::string& text) {
            if (Transcoder::Known(text)) return std::string();
            return "unknown encoding '" + text +
                   "'; give one such as utf-8, latin1, windows-1252, iso-8859-15 or utf-16";
          },
          "NAME"));
  profile
      ->add_option("--max-cell-mib", profileArgs.maxCellMib,
                   "The longest cell accepted, in MiB; a longer one is most likely a quote left "
                   "open")
      ->capture_default_str()
      ->check(CLI::Range(1u, 4096u));
  profile->add_flag("--skip-bad-rows", profileArgs.skipBadRows,
                    "Skip rows with another number of cells than the header, and report how many "
                    "in one warning, instead of stopping at the first");
  profile
      ->add_option(
          "--max-categories", profileArgs.maxCategories,
          "A numeric column with more distinct values is continuous; a string column with more "
          "keeps no value list")
      ->capture_default_str()
      ->check(CLI::Range(0u, 1000000u));

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
