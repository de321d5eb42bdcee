// A file the tool writes once its content is ready. It is opened before the work that makes the
// content, so that a path that cannot be written is reported before any input is read; until
// the content is written, an existing file keeps its bytes and a new one is removed again.
#ifndef TOOLS_CFMETA_OUTPUTFILE_H_
#define TOOLS_CFMETA_OUTPUTFILE_H_

#include <string>

namespace cfmeta_tool {

class OutputFile {
 public:
  // Opens `path` for writing, creating it when it does not exist, without truncating it. Throws
  // ToolError ("PATH: cannot write: REASON") when it cannot: a missing folder, no permission, a
  // folder.
  explicit OutputFile(std::string path);
  // Closes the file, and removes it when it was created here and Write did not complete.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Replaces the file's content with `text` up to its first NUL (an exported document may end
  // in one). Throws ToolError ("PATH: cannot write: REASON") when the write fails.
  void Write(const std::string& text);

 private:
  std::string m_path;
  int m_fd = -1;
  bool m_created = false;
  bool m_written = false;
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_OUTPUTFILE_H_
