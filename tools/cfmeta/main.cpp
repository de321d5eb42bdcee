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
#include "tools/cfmeta/indent.h"
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

// How a command's result reads, beside what ProfileArgs says of the data.
struct OutputArgs {
  bool compact = false;  // a document as the library exports it, not laid out for people
  bool quiet = false;    // no warnings, notes or closing line on standard error
  bool table = false;    // a profile as show's table, in place of its document
};

char DelimiterChar(const std::string& text) {
  if (text == "auto") return CsvOptions::kDetect;
  return text == "\\t" || text == "tab" ? '\t' : text[0];
}

// The characters that group digits: those given, or by default none after a decimal point and
// a point or a space after a decimal comma.
std::string GroupingChars(const ProfileArgs& args) {
  if (args.thousands.empty()) return args.decimal == "," ? ". " : "";
  if (args.thousands == "none") return "";
  return args.thousands == "space" ? " " : args.thousands;
}

// `head` holds the data's first bytes when they were already taken from standard input.
void Profile(const ProfileArgs& args, const OutputArgs& how, const std::string& head = "") {
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
  profiler.SetMaxNominal(args.maxNominal);
  profiler.SetNullTokens(args.nulls);
  profiler.SetNumberForm(args.decimal[0], GroupingChars(args));
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
  options.warn = [&name, &how](const std::string& warning) {
    if (!how.quiet) std::cerr << "cfmeta: warning: " << name << ": " << warning << '\n';
  };
  CsvReader reader(name, options, profiler);
  Progress progress(total, isatty(STDERR_FILENO) == 1);
  std::vector<char> buffer(kReadBytes);
  uint64_t done = head.size();
  reader.Feed(head.data(), head.size());
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
  double seconds = progress.Seconds();
  if (!how.quiet) {
    for (const std::string& warning : warnings) {
      std::cerr << "cfmeta: warning: " << name << ": " << warning << '\n';
    }
  }
  // A document is of no use on a terminal: people there get the table.
  bool terminal = args.output.empty() && isatty(STDOUT_FILENO) == 1;
  auto write = [&output](const std::string& text) {
    if (output) {
      output->Write(text);
    } else {
      WriteText("", text);
    }
  };
  if (args.json) {
    write(ProfileJson(columns, profiler.Rows()));
  } else if (how.table || terminal) {
    WriteTable(*metadata, std::cout, OutputWidth());
    std::cout.flush();
    if (!how.table && !how.quiet) {
      std::cerr << "cfmeta: the profile is shown as a table on a terminal; write its document "
                   "with -o FILE, or pipe it\n";
    }
  } else {
    // A failed export is reported below; the XML layer's own words would land in the document.
    metadata->SetMessageStream(nullptr);
    std::string xml;
    if (!metadata->ExportXMLDoc(xml)) {
      throw ToolError(fmt::format("{}: cannot write its metadata document", name));
    }
    write(how.compact ? xml : Indent(xml));
  }
  if (!how.quiet && ClosingLineDue(done, seconds, isatty(STDERR_FILENO) == 1)) {
    std::cerr << "cfmeta: " << ClosingLine(name, profiler.Rows(), metadata->FieldCount(), seconds)
              << '\n';
  }
}

// A document begins, after an optional byte-order mark and white space, with '<'; data with
// its header row. Undecided while `head` holds no more than those.
enum class Looks { Undecided, Document, Data };
Looks LookAt(const std::string& head) {
  static const std::string kByteOrderMark = "\xEF\xBB\xBF";
  size_t from = 0;
  if (head.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) {
    from = kByteOrderMark.size();
  } else if (head.size() < kByteOrderMark.size() &&
             kByteOrderMark.compare(0, head.size(), head) == 0) {
    return Looks::Undecided;
  }
  size_t first = head.find_first_not_of(" \t\r\n", from);
  if (first == std::string::npos) return Looks::Undecided;
  return head[first] == '<' ? Looks::Document : Looks::Data;
}

// Shows a document, or profiles data (as profile does with --summaries) and shows the result.
void Show(const std::string& path, const OutputArgs& how) {
  bool standardInput = path == "-";
  int fd = standardInput ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string head;
  Looks looks = Looks::Undecided;
  std::vector<char> buffer(kReadBytes);
  // For a file, reading stops at the first sign; standard input cannot be read twice, so a
  // document there is read whole.
  while (fd >= 0 && (looks == Looks::Undecided || (standardInput && looks == Looks::Document))) {
    ssize_t n = read(fd, buffer.data(), buffer.size());
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      // LoadDocument says why a file cannot be read.
      if (!standardInput) break;
      throw ToolError(fmt::format("standard input: cannot read: {}", std::strerror(errno)));
    }
    head.append(buffer.data(), static_cast<size_t>(n));
    if (looks == Looks::Undecided) looks = LookAt(head);
  }
  if (fd >= 0 && !standardInput) close(fd);
  if (looks == Looks::Data) {
    ProfileArgs args;
    args.data = path;
    args.summaries = true;
    OutputArgs table = how;
    table.table = true;
    Profile(args, table, standardInput ? head : std::string());
    return;
  }
  std::unique_ptr<CFMetaData> metadata =
      standardInput ? LoadDocumentText("standard input", head) : LoadDocument(path);
  WriteTable(*metadata, std::cout, OutputWidth());
}

void Check(const std::string& path) {
  std::unique_ptr<CFMetaData> metadata = LoadDocument(path);
  std::cout << fmt::format("{}: a valid metadata document with {} field{}\n", path,
                           metadata->FieldCount(), metadata->FieldCount() == 1 ? "" : "s");
}

void Export(const std::string& path, const OutputArgs& how) {
  std::unique_ptr<CFMetaData> metadata = LoadDocument(path);
  std::string xml;
  if (!metadata->ExportXMLDoc(xml)) throw ToolError(fmt::format("{}: cannot export it", path));
  WriteText("", how.compact ? xml : Indent(xml));
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
      "document, indented two spaces per level; on a terminal without -o it shows the table "
      "show prints instead. Columns get integer, real, string, date, time or timestamp storage; "
      "dates and "
      "times are recognised in the usual written forms (2015-01-31, 2015/01/31 10:00, "
      "01/31/2015, 31.01.2015, Jan 31 2015, 31 January 2015, 10:00 PM), the day and month "
      "order settled by the values. Numbers with a leading zero (007, 01234) are codes: their "
      "column stays text, the zeros kept. Numbers may have blanks around them, a decimal comma "
      "(--decimal) and digits grouped in threes (--thousands). A numeric column with at most "
      "--max-nominal distinct values is nominal, or flag with exactly two; with more it is "
      "continuous. String columns are always nominal or flag. A categorical column keeps its "
      "value list only up to --max-categories distinct values. Empty cells and the --null "
      "tokens are null; a string column lists the tokens it holds as missing values. Number "
      "formats show every value as written, in scientific notation when more than 10 decimals "
      "or more than 23 characters would be needed. A profile that takes over a second or reads "
      "over 10 MB closes with a line on standard error saying what it read (always on a "
      "terminal).");
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
  OutputArgs profileOutput, showOutput, exportOutput;
  profile->add_flag("--compact", profileOutput.compact,
                    "Write the document as the library exports it, without line breaks");
  profile->add_flag("-q,--quiet", profileOutput.quiet,
                    "No warnings, notes or closing line on standard error; errors still show");

  std::string showPath, checkPath, exportPath, formatPath, formatField;
  std::vector<std::string> formatValues;
  CLI::App* show = app.add_subcommand(
      "show",
      "Prints a table of the document's fields (nulls as a count and share of the records), "
      "then its record counts and shared formats. Given data rather than a document (its first "
      "character, past a byte-order mark and white space, is not '<'), profiles it as profile "
      "--summaries does and shows the result. Columns empty for every field are left out; on a "
      "terminal, or with COLUMNS set, the table fits the width, long text cut with an "
      "ellipsis. A null value shows as '.'. A document that does not load is reported as check "
      "reports it.");
  show->add_option("FILE", showPath, "The metadata document, or data; - reads standard input")
      ->required();
  show->add_flag("-q,--quiet", showOutput.quiet,
                 "No warnings or closing line on standard error; errors still show");
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
      "Loads the document and writes it again, normalised and indented two spaces per level, to "
      "standard output. A document that does not load is reported as check reports it.");
  exportCmd->add_option("FILE", exportPath, "The metadata document")->required();
  exportCmd->add_flag("--compact", exportOutput.compact,
                      "Write the document as the library exports it, without line breaks");
  CLI::App* format = app.add_subcommand(
      "format",
      "Renders values through a field's display format, one per line. An empty value is null; "
      "a null renders as '.'.");
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
    if (profile->parsed()) Profile(profileArgs, profileOutput);
    if (show->parsed()) Show(showPath, showOutput);
    if (check->parsed()) Check(checkPath);
    if (exportCmd->parsed()) Export(exportPath, exportOutput);
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
