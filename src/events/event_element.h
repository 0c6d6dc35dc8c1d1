#pragma once

#include "base/com_ptr.h"
#include "varnel/varnel.h"
#include "xml/document.h"

#include <memory>
#include <optional>

namespace varnel {

class CEventElement;

// A report's document as the report and its element objects share it: empty once the report has let it go.
using SharedDocument = std::shared_ptr<std::optional<AdvXMLParser::Document>>;

// Makes the COM object of an element, with nothing attached and one reference. com/ gives it to the event
// objects: it alone knows the module's lock count and the forms that an object can take.
using ElementObjectFactory = ComPtr<CEventElement> (*)();

// One element of an event document, as callers see it. It refers to the document without keeping it alive:
// once the event object has let its document go, every method answers E_FAIL and touches nothing.
//
// All methods return S_OK unless said otherwise, take null texts as empty, copy their arguments, and return
// E_OUTOFMEMORY when there is no memory. Out pointers may be null; they are written on success only and carry
// a reference that the caller releases. No lock is taken: callers serialise their use of one document.
//
// IUnknown and IDispatch come from the object forms in com/.
class CEventElement : public IEventElement {
 public:
  using DefaultInterface = IEventElement;
  static REFIID DispatchIid() noexcept { return IID_IEventElement; }
  static constexpr wchar_t kProgId[] = L"Varnel.EventElement";

  explicit CEventElement(ElementObjectFactory newElementObject) noexcept
      : newElementObject_(newElementObject) {}

  // Only the first call has an effect.
  void Attach(const SharedDocument& document, AdvXMLParser::Element* element) noexcept;

  // The pointer that answers for the interface, without a new reference; null when there is none.
  void* FindInterface(REFIID iid) noexcept;

  // Adds the text to the attribute, which is made when missing: a second call appends, it does not replace.
  // S_OK without effect when no element is attached.
  STDMETHODIMP SetAttributeString(BSTR strName, BSTR ValueName) override;
  // The same with the value's decimal digits.
  STDMETHODIMP SetAttributeInt(BSTR strName, long ValueName) override;
  // Adds an element at the end of the parent's children, as a sibling; nothing when the element has no
  // parent.
  STDMETHODIMP AppendElement(BSTR strName, BSTR strValue, IEventElement** pElement) override;
  // Adds an element at the end of this element's children.
  STDMETHODIMP AddElementInto(BSTR strName, BSTR strValue, IEventElement** pElement) override;

 protected:
  ~CEventElement() = default;

 private:
  using NodeContainer = AdvXMLParser::NodeContainer;
  using Element = AdvXMLParser::Element;

  HRESULT AddToAttribute(BSTR name, std::wstring_view value) noexcept;
  HRESULT Add(NodeContainer* (*parentOf)(Element&), BSTR name, BSTR value, IEventElement** out) noexcept;

  ElementObjectFactory newElementObject_;
  SharedDocument document_;
  Element* element_ = nullptr;  // borrowed from the document
};

// A text argument as it is taken everywhere: up to its first zero, null as empty.
inline const wchar_t* TextOf(BSTR text) noexcept {
  return text ? text : L"";
}

}  // namespace varnel
