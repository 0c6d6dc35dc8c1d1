#pragma once

#include "events/event_element.h"

#include <memory>
#include <string_view>
#include <utility>

namespace varnel {

// Owns a report's document. Its destructor frees the document even if element objects still exist.
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

// The document of one Initialize, the elements to which later calls append, and the element objects that
// callers have asked for. Element pointers are borrowed from the document.
struct EventBatch {
  DocumentOwner document;
  AdvXMLParser::Element* machineElement = nullptr;
  AdvXMLParser::Element* softwareElement = nullptr;
  ComPtr<CEventElement> machineObject;
  ComPtr<CEventElement> softwareObject;

  explicit operator bool() const noexcept { return static_cast<bool>(document); }
};

// The texts that describe the product. BuildEventBatch copies them.
struct ProductTexts {
  std::wstring_view rootName;
  std::wstring_view softwareNodeName;
  std::wstring_view softwareName;
  std::wstring_view version;
  std::wstring_view productFamily;
};

// Returns a document with a root, an empty "MachineInfo" and the product element with its three attributes.
[[nodiscard]] EventBatch BuildEventBatch(const ProductTexts& product);

// Appends an event to the product element and returns it. `timeText` is the event's time as written in the
// document. If there is no memory, the document does not change.
AdvXMLParser::Element* AppendEvent(const EventBatch& batch, std::wstring_view name, long id, long severity,
                                   std::wstring_view timeText);

}  // namespace varnel
