#pragma once

#include "console/json_text.h"
#include "report/result_words.h"

#include <string_view>

// The output of varnel explain.
namespace varnel::tool {

void PrintJson(const nlohmann::ordered_json& json);
// Prints a row of two columns.
void PrintRow(std::string_view head, std::string_view text);

[[nodiscard]] nlohmann::ordered_json ToJson(const ResultWords& words);
// Prints the rows of a result.
void PrintWords(const ResultWords& words);

}  // namespace varnel::tool
