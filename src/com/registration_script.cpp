#include "com/registration_script.h"

#include <algorithm>
#include <utility>

namespace varnel {
namespace {

constexpr int kMaxDepth = 16;

bool IsBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

struct Token {
  std::wstring text;
  bool quoted = false;
};

// Recursive descent. A method returns false at the first fault, and parsing ends.
class Parser {
 public:
  Parser(std::string_view script, const ScriptVariables& variables) : rest_(script), variables_(variables) {}

  bool Parse(std::vector<ScriptKey>& keys) {
    ScriptKey root;
    if (!Advance() || !IsWord(L"HKCR") || !Advance() || !IsWord(L"{")) return false;
    if (!ParseBody(root, 0) || token_ || !root.values.empty()) return false;
    keys = std::move(root.children);
    return true;
  }

 private:
  // Parses from the opening brace past the closing one.
  bool ParseBody(ScriptKey& key, int depth) {
    if (depth == kMaxDepth || !Advance()) return false;
    while (!IsWord(L"}")) {
      if (!token_) return false;
      const bool parsed =
          IsWord(L"val") ? ParseNamedValue(key) : ParseKey(key.children.emplace_back(), depth);
      if (!parsed) return false;
    }
    return Advance();
  }

  bool ParseKey(ScriptKey& key, int depth) {
    if (IsWord(L"ForceRemove")) key.removal = KeyRemoval::kForce;
    if (IsWord(L"NoRemove")) key.removal = KeyRemoval::kNever;
    if (key.removal != KeyRemoval::kWhenEmpty && !Advance()) return false;
    if (!TakeName(key.name)) return false;
    if (IsWord(L"=") && !ParseText(key.values.emplace_back())) return false;
    return !IsWord(L"{") || ParseBody(key, depth + 1);
  }

  bool ParseNamedValue(ScriptKey& key) {
    ScriptValue& value = key.values.emplace_back();
    return Advance() && TakeName(value.name) && IsWord(L"=") && ParseText(value);
  }

  // Parses from the equals sign past the text. "s" is the only type supported.
  bool ParseText(ScriptValue& value) {
    if (!Advance() || !IsWord(L"s") || !Advance() || !token_ || !token_->quoted) return false;
    value.text = std::move(token_->text);
    return Advance();
  }

  bool TakeName(std::wstring& name) {
    if (!token_ || token_->text.empty()) return false;
    if (!token_->quoted && (IsWord(L"{") || IsWord(L"}") || IsWord(L"="))) return false;
    name = std::move(token_->text);
    return Advance();
  }

  bool IsWord(std::wstring_view word) const { return token_ && !token_->quoted && token_->text == word; }

  // Reads the next token into token_; leaves it empty at the end of the script.
  bool Advance() {
    while (!rest_.empty() && IsBlank(rest_.front())) rest_.remove_prefix(1);
    token_.reset();
    if (rest_.empty()) return true;
    token_.emplace();
    return rest_.front() == '\'' ? ReadQuoted() : ReadWord();
  }

  bool ReadWord() {
    const auto end = std::find_if(rest_.begin(), rest_.end(), [](char c) { return IsBlank(c) || c == '\''; });
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    const std::string_view word = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return Expand(word);
  }

  bool ReadQuoted() {
    token_->quoted = true;
    std::string text;
    for (;;) {
      rest_.remove_prefix(1);  // the quote that opens the text, or the second of two inside it
      const auto end = rest_.find('\'');
      if (end == std::string_view::npos) return false;
      text += rest_.substr(0, end);
      rest_.remove_prefix(end + 1);
      if (rest_.empty() || rest_.front() != '\'') return Expand(text);
      text += '\'';
    }
  }

  // Replaces variables within one token, so that their values need no quoting.
  bool Expand(std::string_view text) {
    while (!text.empty()) {
      if (text.front() == '%') {
        const auto end = text.find('%', 1);
        if (end == std::string_view::npos) return false;
        const auto variable = variables_.find(text.substr(1, end - 1));
        if (variable == variables_.end()) return false;
        token_->text += variable->second;
        text.remove_prefix(end + 1);
        continue;
      }
      const auto byte = static_cast<unsigned char>(text.front());
      if (byte < ' ' || byte > '~') return false;
      token_->text += static_cast<wchar_t>(byte);
      text.remove_prefix(1);
    }
    return true;
  }

  std::string_view rest_;
  const ScriptVariables& variables_;
  std::optional<Token> token_;
};

}  // namespace

std::optional<std::vector<ScriptKey>> ParseRegistrationScript(std::string_view script,
                                                              const ScriptVariables& variables) {
  std::vector<ScriptKey> keys;
  if (!Parser(script, variables).Parse(keys)) return std::nullopt;
  return keys;
}

}  // namespace varnel
