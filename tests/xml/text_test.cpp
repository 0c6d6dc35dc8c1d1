#include "support/soak.h"
#include "support/temp_folder.h"
#include "support/utf8_oracle.h"
#include "xml/document.h"
#include "xml/file_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace AdvXMLParser {
namespace {

using varnel::test::Escaped;
using varnel::test::IsStrictUtf8;
using varnel::test::ReadBytes;
using varnel::test::Count;
using varnel::test::TempFolder;
using varnel::test::Utf8Of;

// Where two texts part; -1 when they are equal. Millions of characters are no use in a failure's message.
template <class String>
std::ptrdiff_t FirstDifference(const String& a, const String& b) {
  if (a == b) return -1;
  return std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
}

// A document and, beside it, the markup that must come of it.
class Expected {
 public:
  // Adds an element whose attribute and content are given one after the other in the pieces.
  void Add(std::wstring_view element, std::wstring_view attribute,
           std::initializer_list<std::wstring_view> pieces) {
    Element& added = *document_.Root()->AddElement(element);
    std::wstring whole;
    for (const auto piece : pieces) {
      added.GetOrAddAttribute(attribute)->AddText(piece);
      added.AddText(piece);
      whole += Escaped(piece);
    }
    for (const auto part : std::initializer_list<std::wstring_view>{
             L"<", element, L" ", attribute, L"=\"", whole, L"\">", whole, L"</", element, L">"})
      markup_ += part;
  }
  void Add(std::wstring_view value) { Add(L"E", L"A", {value}); }

  // `end` is where the saved text ends: a zero cuts it.
  void ExpectSaved(std::size_t end = std::wstring::npos) {
    const std::wstring markup = markup_ + L"</R>";
    const std::wstring text = document_.ToString(false);
    EXPECT_EQ(-1, FirstDifference(markup, text));
    const TempFolder folder;
    ASSERT_EQ(kSaved, SaveToFile(folder.File(L"f"), text, kUtf8Encoding, nullptr, nullptr, nullptr));
    const std::string saved = ReadBytes(folder.File(L"f"));
    EXPECT_TRUE(IsStrictUtf8(saved));
    EXPECT_EQ(-1, FirstDifference(Utf8Of(markup.substr(0, end)), saved));
  }
  std::size_t Size() const { return markup_.size(); }

 private:
  Document document_{L"R"};
  std::wstring markup_ = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?><R>";
};

TEST(Text, DecoderOfTheseTestsRefusesWhatIsNotStrict) {
  for (const char* const good : {"", "a", "\xC2\x80", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF"})
    EXPECT_TRUE(IsStrictUtf8(good)) << good;
  for (const char* const bad : {"\x80", "\xC3", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
                                "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xE2\x82z", "\xF8\x88\x80\x80\x80"})
    EXPECT_FALSE(IsStrictUtf8(bad)) << bad;
}

TEST(Text, EveryUnitStandsAlone) {
  Expected expected;
  for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
    const auto text = static_cast<wchar_t>(unit);
    expected.Add({&text, 1});
  }
  expected.ExpectSaved();
}

TEST(Text, ZeroEndsTheSavedTextOnly) {
  Expected expected;
  const std::size_t zero = expected.Size() + std::size(L"<E A=\"") - 1;
  expected.Add({L"\0", 1});
  expected.ExpectSaved(zero);
}

TEST(Text, EveryPairBecomesOneCharacter) {
  Expected expected;
  for (unsigned high = 0xD800; high <= 0xDBFF; ++high) {
    std::wstring row;
    for (unsigned low = 0xDC00; low <= 0xDFFF; ++low)
      (row += static_cast<wchar_t>(high)) += static_cast<wchar_t>(low);
    expected.Add(row);
  }
  expected.ExpectSaved();
}

// All orders of the outermost surrogates, a plain character and a special one. A text that comes in two
// pieces is one text: a pair may be split between them.
TEST(Text, EveryBrokenPairingLosesOnlyWhatIsBroken) {
  constexpr std::wstring_view kUnits = L"\xD800\xDBFF\xDC00\xDFFFz<";
  Expected expected;
  std::vector<std::wstring> texts{L""};
  for (std::size_t at = 0; at < texts.size(); ++at) {
    const std::wstring text = texts[at];
    expected.Add(text);
    for (std::size_t cut = 1; cut < text.size(); ++cut)
      expected.Add(text, text, {std::wstring_view(text).substr(0, cut), std::wstring_view(text).substr(cut)});
    for (const wchar_t unit : text.size() < 4 ? kUnits : L"") texts.push_back(text + unit);
  }
  EXPECT_EQ(1u + 6 + 36 + 216 + 1296, texts.size());
  expected.ExpectSaved();
}

class RandomText {
 public:
  std::wstring Next() {
    const unsigned most = Below(100) == 0 ? 5000 : 40;
    std::wstring text(Below(most), L' ');
    for (wchar_t& unit : text) unit = static_cast<wchar_t>(Unit());
    return text;
  }

 private:
  unsigned Below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
  // Surrogates and special characters are rare among all units, and where the faults would be.
  unsigned Unit() {
    switch (Below(4)) {
      case 0:
        return 0xD800 + Below(0x800);
      case 1:
        return static_cast<unsigned>(L"<>&'\"\r\n\t ]"[Below(10)]);
      case 2:
        return 1 + Below(0x7F);
      default:
        return 1 + Below(0xFFFF);
    }
  }

  std::mt19937 engine_{20240307};
};

TEST(Text, RandomNamesAndValuesComeThrough) {
  constexpr int kPerDocument = 1000;
  RandomText random;
  for (int documents = Count(10, 100); documents > 0; --documents) {
    Expected expected;
    for (int i = 0; i < kPerDocument; ++i) {
      const std::wstring element = random.Next();
      const std::wstring attribute = random.Next();
      expected.Add(element, attribute, {random.Next()});
    }
    expected.ExpectSaved();
  }
}

}  // namespace
}  // namespace AdvXMLParser
