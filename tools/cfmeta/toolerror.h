// The one error the tool's commands raise: a message for standard error and the exit status it
// ends the program with.
#ifndef TOOLS_CFMETA_TOOLERROR_H_
#define TOOLS_CFMETA_TOOLERROR_H_

#include <stdexcept>
#include <string>

namespace cfmeta_tool {

// Exit statuses: 0 done, 1 the input is bad or cannot be read or written, 2 the command line is.
constexpr int kExitBadInput = 1;
constexpr int kExitBadUsage = 2;

class ToolError : public std::runtime_error {
 public:
  // A message that names its own file as its first word ("FILE:LINE:COL: error: ...", which
  // editors follow) is printed as it stands; any other after the tool's name.
  enum Shape { AfterToolName, AsItStands };
  explicit ToolError(const std::string& message, int exitCode = kExitBadInput,
                     Shape shape = AfterToolName)
      : std::runtime_error(message), m_exitCode(exitCode), m_shape(shape) {}
  int ExitCode() const { return m_exitCode; }
  bool AfterTheToolName() const { return m_shape == AfterToolName; }

 private:
  int m_exitCode;
  Shape m_shape;
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_TOOLERROR_H_
