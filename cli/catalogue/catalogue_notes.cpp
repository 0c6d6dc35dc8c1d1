#include "catalogue/catalogue_notes.h"

#include "catalogue/json_labels.h"
#include "eventfile/json_line.h"

namespace varnel::tool::catalogue {
namespace {

void AddTexts(const Content& content, const std::string& path, EventNotes::Texts& texts) {
  for (const Attribute& attribute : content.attributes)
    texts.emplace(path + "/@" + attribute.name, attribute.text);
  for (const Child& child : content.children) {
    texts.emplace(path + "/" + child.name, child.text);
    AddTexts(child, path + "/" + child.name, texts);
  }
}

// Returns the notes in the form in which the page looks them up: texts by events and labels.
std::string PageNotes(const Catalogue& catalogue) {
  std::string json;
  JsonLine line(json, json.max_size() / 2, JsonUse::kPage);
  line.Open("names");
  for (const Event& event : catalogue.events) line.Text(std::to_string(event.id), event.name);
  line.Close();
  line.Open("events");
  for (const Event& event : catalogue.events) {
    line.Open(event.name);
    line.Text("text", event.text);
    line.Open("labels");
    for (const Label& label : LabelsOf(event)) line.Text(label.name, label.text);
    line.Close();
    line.Close();
  }
  line.Close();
  line.Close();
  return json;
}

}  // namespace

EventNotes NotesOf(const Catalogue& catalogue) {
  EventNotes notes;
  for (const Event& event : catalogue.events) {
    notes.texts.emplace(event.name, event.text);
    notes.names.emplace(std::to_string(event.id), event.name);
    AddTexts(event, event.name, notes.texts);
  }
  notes.page = PageNotes(catalogue);
  return notes;
}

}  // namespace varnel::tool::catalogue
