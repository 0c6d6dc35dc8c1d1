#include "catalogue/csharp_values.h"

namespace varnel::tool::catalogue {
namespace {

constexpr std::string_view kClass =
    R"(// Turns values into the texts of event files. `name` is the field's, for the exception.
internal static class CatalogueText
{
  internal static T Needed<T>(string name, T value) where T : class
  {
    if (value == null) throw new ArgumentNullException(name);
    return value;
  }

  internal static List<T> List<T>(string name, IEnumerable<T> values)
  {
    var list = new List<T>(Needed(name, values));
    if (list.Count == 0) throw new ArgumentException("at least one is required", name);
    return list;
  }

  internal static string Of(string name, string text)
  {
    Needed(name, text);
    for (int i = 0; i < text.Length; ++i)
    {
      char unit = text[i];
      bool isPair = char.IsHighSurrogate(unit) && i + 1 < text.Length && char.IsLowSurrogate(text[i + 1]);
      if (isPair)
        ++i;
      else if (char.IsSurrogate(unit) || unit >= 0xFFFE || (unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r'))
        throw new ArgumentException("XML does not allow a character of the text", name);
    }
    return text;
  }

  internal static string Of(string name, long number) { return number.ToString(CultureInfo.InvariantCulture); }

  internal static string Of(string name, bool value) { return value ? "true" : "false"; }

  internal static string Of(string name, DateTime time)
  {
    if (time.Kind == DateTimeKind.Local) time = time.ToUniversalTime();
    if (time.Year < 100) throw new ArgumentException("the year is before 100", name);
    return time.ToString("yyyy-MM-dd'T'HH:mm:ss'Z'", CultureInfo.InvariantCulture);
  }

  internal static string Of(string name, Guid guid) { return guid.ToString("B").ToUpperInvariant(); }

  internal static string Of(string name, byte[] hash)
  {
    if (Needed(name, hash).Length != 32) throw new ArgumentException("a SHA-256 hash has 32 bytes", name);
    var text = new StringBuilder();
    foreach (byte one in hash) text.Append(one.ToString("x2", CultureInfo.InvariantCulture));
    return text.ToString();
  }

  internal static string Of(string name, IPAddress address)
  {
    byte[] bytes = Needed(name, address).GetAddressBytes();
    if (bytes.Length == 4) return address.ToString();
    var text = new StringBuilder();
    int gap = 8, longest = 1;
    for (int first = 0; first < 8; ++first)
    {
      int run = 0;
      while (first + run < 8 && Group(bytes, first + run) == 0) ++run;
      if (run <= longest) continue;
      gap = first;
      longest = run;
    }
    for (int i = 0; i < 8; ++i)
    {
      if (i > 0 || i == gap) text.Append(':');
      if (i == gap) i += longest - 1;
      else text.Append(Group(bytes, i).ToString("x", CultureInfo.InvariantCulture));
      if (i == 7 && gap + longest == 8) text.Append(':');
    }
    return text.ToString();
  }

  private static int Group(byte[] bytes, int i) { return bytes[2 * i] << 8 | bytes[2 * i + 1]; }
})";

}  // namespace

std::vector<std::string_view> CSharpValueLines() {
  std::vector<std::string_view> lines;
  for (std::string_view rest = kClass; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    lines.push_back(rest.substr(0, end));
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
  }
  return lines;
}

}  // namespace varnel::tool::catalogue
