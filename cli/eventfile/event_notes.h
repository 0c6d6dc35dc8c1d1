#pragma once

#include <functional>
#include <map>
#include <string>

namespace varnel::tool {

// Explanations of a product's events that come from elsewhere than the event files.
struct EventNotes {
  using Texts = std::map<std::string, std::string, std::less<>>;
  Texts texts;       // what an event, attribute or child means, by paths like MalwareDetected/File/@Action
  Texts names;       // names of events, by the text of EventID
  std::string page;  // a JSON object of both for the page; empty: none
};

}  // namespace varnel::tool
