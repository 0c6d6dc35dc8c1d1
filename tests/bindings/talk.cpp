// Has the conversation of conversation.txt through varnel.hpp, or tells how it classifies characters:
//   talk FILE PART DLL|registered
//   characters
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <varnel/varnel.hpp>
#include <vector>

namespace {

using Fields = std::vector<std::string>;

Fields Split(const std::string& line) {
  Fields fields(1);
  for (const char one : line)
    if (one == '|')
      fields.emplace_back();
    else
      fields.back() += one;
  return fields;
}

class Talk {
 public:
  explicit Talk(const varnel::Library& library) : library_(library) {}

  HRESULT Do(const Fields& fields) {
    const auto text = [&](std::size_t at) { return varnel::Text(fields.at(at)); };
    const auto number = [&](std::size_t at) { return std::stol(fields.at(at)); };
    const auto element = [&](std::size_t at) -> varnel::Element& { return elements_[number(at)]; };
    const std::string& command = fields[0];
    if (command == "open") {
      const bool refuse = fields.at(7) == "refuse";
      return report_.TryOpen(library_, {text(1), text(2), text(3), text(4), text(5), text(6)},
                             refuse ? varnel::Unmanaged::kRefuse : varnel::Unmanaged::kDrop);
    }
    if (command == "machine") return report_.TryAddMachine({text(1), text(2)});
    if (command == "event") {
      const std::chrono::seconds time(std::stoll(fields.at(5)));
      const std::chrono::time_point<std::chrono::system_clock, std::chrono::seconds> at(time);
      return report_.TryAddEvent(text(2), number(3), number(4), at, &element(1));
    }
    if (command == "machine-element") return report_.TryGetMachineElement(element(1));
    if (command == "product-element") return report_.TryGetProductElement(element(1));
    if (command == "set") return element(1).TrySetAttribute(text(2), text(3));
    if (command == "number") return element(1).TrySetAttribute(text(2), std::stoll(fields.at(3)));
    if (command == "child") return Add(&varnel::Element::TryAddChild, fields);
    if (command == "sibling") return Add(&varnel::Element::TryAddSibling, fields);
    if (command == "save") return report_.TrySave();
    if (command == "save-agent") return report_.TrySaveAgentEventOnly(text(1), text(2));
    if (command == "close") return report_.TryClose();
    std::exit(2);
  }

 private:
  using Adder = HRESULT (varnel::Element::*)(const varnel::Text&, const varnel::Text&,
                                             varnel::Element*) const noexcept;
  HRESULT Add(Adder add, const Fields& fields) {
    varnel::Element added;
    const HRESULT result = (elements_[std::stol(fields.at(2))].*add)(fields.at(3), fields.at(4), &added);
    elements_[std::stol(fields.at(1))] = std::move(added);
    return result;
  }

  const varnel::Library& library_;
  varnel::Report report_;
  std::map<long, varnel::Element> elements_;
};

int Converse(const char* file, const std::string& part, const std::string& origin) {
  const std::wstring path(origin.begin(), origin.end());
  const varnel::ComScope com;
  const varnel::Library library =
      origin == "registered" ? varnel::Library::Registered() : varnel::Library::FromFile(path.c_str());
  Talk talk(library);
  std::ifstream lines(file, std::ios::binary);
  bool inside = false;
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    if (!line.empty() && line[0] == '[')
      inside = line == "[" + part + "]";
    else if (inside && !line.empty() && line[0] != '#' && line[0] != '=')
      std::printf("%d 0x%08lX\n", number, static_cast<unsigned long>(talk.Do(Split(line))));
  }
  return 0;
}

// x: no text may hold it; otherwise a name may begin with it (s), hold it (i), or not (-).
char ClassOf(unsigned codePoint) {
  std::wstring text = L"a";
  if (codePoint >= 0x10000) text += static_cast<wchar_t>(0xD7C0 + (codePoint >> 10));
  text += static_cast<wchar_t>(codePoint >= 0x10000 ? 0xDC00 | (codePoint & 0x3FF) : codePoint);
  if (FAILED(varnel::Text(text).Status())) return 'x';
  if (SUCCEEDED(varnel::Text(text.substr(1)).StatusAsName())) return 's';
  return SUCCEEDED(varnel::Text(text).StatusAsName()) ? 'i' : '-';
}

int ShowCharacters() {
  unsigned first = 0;
  for (unsigned next = 1; next <= 0x110000; ++next) {
    if (next < 0x110000 && ClassOf(next) == ClassOf(first)) continue;
    std::printf("%X-%X %c\n", first, next - 1, ClassOf(first));
    first = next;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5) return Converse(argv[2], argv[3], argv[4]);
  return ShowCharacters();
}
