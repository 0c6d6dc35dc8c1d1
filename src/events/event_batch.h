#pragma once

#include "events/event_element.h"

#include <memory>
#include <string_view>
#include <utility>

namespace varnel {

// Owns a report's document: when it goes, so does the document, whatever element objects there still are.
class DocumentOwner {
 public:
  DocumentOwner() noexcept = default;
  explicit DocumentOwner(std::wstring_view rootName)
      : shared_(std::make_shared<SharedDocument::element_type>(std::in_place, rootName)) {}
  DocumentOwner(DocumentOwner&& other) noexcept : shared_(std::move(other.shared_)) {}
  DocumentOwner& operator=(DocumentOwner&& other) noexcept {
    shared_.swap(other.shared_);
    return *this;
  }
  ~DocumentOwner() {
    if (shared_) shared_->reset();
  }

  explicit operator bool() const noexcept { return shared_ != nullptr; }
  AdvXMLParser::Document& operator*() const noexcept { return **shared_; }
  AdvXMLParser::Document* operator->() const noexcept { return &**shared_; }
  const SharedDocument& Shared() const noexcept { return shared_; }

 private:
  SharedDocument shared_;
};

// The document that one Initialize builds, with the places in it that later calls work on and the objects
// through which callers reach them, once they have asked. Element pointers are borrowed from the document.
struct EventBatch {
  DocumentOwner document;
  AdvXMLParser::Element* machineElement = nullptr;
  AdvXMLParser::Element* softwareElement = nullptr;
  AdvXMLParser::Element* lastEventElement = nullptr;  // null until the first event
  ComPtr<CEventElement> machineObject;
  ComPtr<CEventElement> softwareObject;

  explicit operator bool() const noexcept { return static_cast<bool>(document); }
};

// The texts that describe the reporting product; views of zero-terminated texts.
struct ProductTexts {
  std::wstring_view rootName;
  std::wstring_view softwareNodeName;
  std::wstring_view softwareName;
  std::wstring_view version;
  std::wstring_view productFamily;
};

// A document with a root, an empty "MachineInfo" and the software element with its three attributes.
[[nodiscard]] EventBatch BuildEventBatch(const ProductTexts& product);

// Appends an event behind everything that the software element holds so far and makes it the batch's last
// event. `timeText` is the event's time as the document carries it. When there is no memory the batch stays
// as it was.
AdvXMLParser::Element* AppendEvent(EventBatch& batch, std::wstring_view name, long id, long severity,
                                   std::wstring_view timeText);

}  // namespace varnel
