// varnel explain: explains a result; explain_event.cpp predicts a save.

#include "commands/commands.h"
#include "commands/explain_output.h"
#include "console/console.h"
#include "report/result_words.h"

namespace varnel::tool {
namespace {

Status ExplainCode(const ExplainOptions& options) {
  const auto code = ParseResult(options.code);
  if (!code)
    throw Failure(Printable(options.code) +
                  ": not a result; pass a number like 0xFFFFFFC9, -55 or 4294967241");
  const ResultWords words = WordsOf(*code);
  if (options.asJson)
    PrintJson(ToJson(words));
  else
    PrintWords(words);
  return words.name.empty() ? kFound : kDone;
}

}  // namespace

Status RunExplain(const ExplainOptions& options) {
  return options.code.empty() ? ExplainEvent(options) : ExplainCode(options);
}

}  // namespace varnel::tool
