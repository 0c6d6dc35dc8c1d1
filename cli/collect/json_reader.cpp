#include "collect/json_reader.h"

#include "console/console.h"
#include "console/printable.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace varnel::tool {
namespace {

// Takes the tokens of one JSON text. Returning false ends the parser.
class Finder final : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return Other(); }
  bool boolean(bool) override { return Other(); }
  bool number_integer(number_integer_t) override { return Other(); }
  bool number_unsigned(number_unsigned_t) override { return Other(); }
  bool number_float(number_float_t, const string_t&) override { return Other(); }
  bool binary(binary_t&) override { return Other(); }
  bool string(string_t& text) override {
    if (next_ == Next::kIdentifier && ++found_ == 1) id_ = std::move(text);
    return Other();
  }
  bool key(string_t& name) override {
    const bool isIdentifier = depth_ == 1 ? name == "event.id" : depth_ == 2 && isInEvent_ && name == "id";
    next_ = isIdentifier ? Next::kIdentifier : depth_ == 1 && name == "event" ? Next::kEvent : Next::kOther;
    return true;
  }
  bool start_object(std::size_t) override {
    if (++depth_ == 2) isInEvent_ = next_ == Next::kEvent;
    return Other();
  }
  bool end_object() override {
    --depth_;
    return true;
  }
  bool start_array(std::size_t) override { return Other() && ++depth_ > 0; }
  bool end_array() override { return end_object(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

  [[nodiscard]] LineIdentifier Result() && {
    if (found_ > 1) return {};
    return {found_ == 1 ? LineState::kIdentified : LineState::kNameless, std::move(id_)};
  }

 private:
  // Whose value comes next, by the last key that was read.
  enum class Next { kOther, kEvent, kIdentifier };

  // Forgets the key, because its value has begun. Only an object may be the whole text.
  bool Other() {
    next_ = Next::kOther;
    return depth_ > 0;
  }

  Next next_ = Next::kOther;
  std::size_t depth_ = 0;
  bool isInEvent_ = false;  // the object at depth 2 is `event`
  unsigned found_ = 0;
  std::string id_;
};

}  // namespace

LineIdentifier IdentifyLine(std::string_view line) {
  Finder finder;
  if (!nlohmann::json::sax_parse(line.begin(), line.end(), &finder)) return {};
  return std::move(finder).Result();
}

ReceiptLines ReadReceipt(std::string_view json) {
  ReceiptLines receipt;
  try {
    const nlohmann::json document = nlohmann::json::parse(json);
    document.at("segment").get_to(receipt.segment);
    document.at("ids").get_to(receipt.ids);
    document.at("digests").get_to(receipt.digests);
    if (document.at("lines").get<std::size_t>() != receipt.ids.size() ||
        receipt.digests.size() != receipt.ids.size())
      throw Failure("contradicts itself: lines, ids and digests differ in number");
  } catch (const nlohmann::json::exception& error) {
    throw Failure("is no receipt of varnel collect: " + Printable(error.what()));
  }
  return receipt;
}

}  // namespace varnel::tool
