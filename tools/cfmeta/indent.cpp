#include "tools/cfmeta/indent.h"

#include <cstring>
#include <vector>

namespace cfmeta_tool {

namespace {

constexpr size_t kIndentPerLevel = 2;

enum class Kind {
  Start,  // <a ...>
  End,    // </a>
  Empty,  // <a .../>
  Other,  // a declaration, processing instruction, comment or document type
  Text,   // character data other than white space, or a CDATA section
  Space,  // white space between tags
};

struct Token {
  Kind kind;
  size_t begin, end;     // the token's bytes in the text
  size_t match = 0;      // for Start: the index of its End
  bool inline_ = false;  // for Start: its content stands as written
};

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The end of the markup starting at `pos` (a '<'), one past its last byte; 0 when it is not
// closed.
size_t MarkupEnd(const std::string& text, size_t pos, Kind& kind) {
  auto after = [&text](size_t from, const char* close) {
    size_t at = text.find(close, from);
    return at == std::string::npos ? 0 : at + std::strlen(close);
  };
  if (text.compare(pos, 9, "<![CDATA[") == 0) {
    kind = Kind::Text;
    return after(pos + 9, "]]>");
  }
  if (text.compare(pos, 4, "<!--") == 0) {
    kind = Kind::Other;
    return after(pos + 4, "-->");
  }
  if (text.compare(pos, 2, "<?") == 0) {
    kind = Kind::Other;
    return after(pos + 2, "?>");
  }
  // A start tag's attribute values, and a document type's literals and internal subset, may
  // hold a '>' of their own.
  char quote = 0;
  int brackets = 0;
  for (size_t i = pos + 1; i < text.size(); ++i) {
    char c = text[i];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '[') {
      ++brackets;
    } else if (c == ']') {
      --brackets;
    } else if (c == '>' && brackets <= 0) {
      if (text[pos + 1] == '!') {
        kind = Kind::Other;
      } else if (text[pos + 1] == '/') {
        kind = Kind::End;
      } else {
        kind = text[i - 1] == '/' ? Kind::Empty : Kind::Start;
      }
      return i + 1;
    }
  }
  return 0;
}

// The tokens of `text`, each Start matched to its End and marked inline when its content
// must stand as written; false when the text is not a sequence of complete, nested tags.
bool Tokenize(const std::string& text, std::vector<Token>& tokens) {
  struct Open {
    size_t index;
    bool text = false, space = false, child = false;
  };
  std::vector<Open> open;
  size_t pos = 0;
  while (pos < text.size()) {
    Token token{Kind::Text, pos, 0};
    if (text[pos] == '<') {
      token.end = MarkupEnd(text, pos, token.kind);
      if (token.end == 0) return false;
    } else {
      token.end = text.find('<', pos);
      if (token.end == std::string::npos) token.end = text.size();
      bool blank = true;
      for (size_t i = pos; i < token.end && blank; ++i) blank = IsSpace(text[i]);
      token.kind = blank ? Kind::Space : Kind::Text;
    }
    pos = token.end;
    if (!open.empty()) {
      Open& parent = open.back();
      if (token.kind == Kind::Text) parent.text = true;
      if (token.kind == Kind::Space) parent.space = true;
      if (token.kind != Kind::Text && token.kind != Kind::Space && token.kind != Kind::End) {
        parent.child = true;
      }
    } else if (token.kind == Kind::Text || token.kind == Kind::End) {
      return false;  // character data or an end tag outside the root
    }
    if (token.kind == Kind::End) {
      Token& start = tokens[open.back().index];
      start.match = tokens.size();
      // White space alone is content only where nothing else is.
      start.inline_ = open.back().text || (open.back().space && !open.back().child);
      open.pop_back();
    }
    if (token.kind == Kind::Start) open.push_back({tokens.size()});
    tokens.push_back(token);
  }
  return open.empty();
}

}  // namespace

std::string Indent(const std::string& xml) {
  const std::string text(xml.c_str());
  std::vector<Token> tokens;
  if (!Tokenize(text, tokens)) {
    return text.empty() || text.back() == '\n' ? text : text + '\n';
  }
  std::string out;
  out.reserve(text.size() + text.size() / 4);
  size_t depth = 0;
  for (size_t i = 0; i < tokens.size(); ++i) {
    const Token& token = tokens[i];
    if (token.kind == Kind::Space) continue;
    if (token.kind == Kind::End) --depth;
    out.append(depth * kIndentPerLevel, ' ');
    size_t end = token.end;
    if (token.kind == Kind::Start && (token.inline_ || token.match == i + 1)) {
      end = tokens[token.match].end;
      i = token.match;
    } else if (token.kind == Kind::Start) {
      ++depth;
    }
    out.append(text, token.begin, end - token.begin);
    out += '\n';
  }
  return out;
}

}  // namespace cfmeta_tool
