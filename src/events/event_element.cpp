#include "events/event_element.h"

#include "base/hresult.h"

namespace varnel {

using AdvXMLParser::NullElement;

void CEventElement::Attach(const SharedDocument& document, Element* element) noexcept {
  if (element_) return;
  document_ = document;
  element_ = element;
}

void* CEventElement::FindInterface(REFIID iid) noexcept {
  if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IEventElement)
    return static_cast<IEventElement*>(this);
  return nullptr;
}

STDMETHODIMP CEventElement::SetAttributeString(BSTR strName, BSTR ValueName) {
  return AddToAttribute(strName, TextOf(ValueName));
}

STDMETHODIMP CEventElement::SetAttributeInt(BSTR strName, long ValueName) {
  return AddToAttribute(strName, DecimalText(ValueName).c_str());
}

HRESULT CEventElement::AddToAttribute(BSTR name, std::wstring_view value) noexcept {
  return Guarded([&] {
    if (!element_) return S_OK;
    if (!*document_) return E_FAIL;
    element_->AddToAttribute(TextOf(name), value);
    return S_OK;
  });
}

STDMETHODIMP CEventElement::AppendElement(BSTR strName, BSTR strValue, IEventElement** pElement) {
  return Add([](Element& element) { return element.Parent(); }, strName, strValue, pElement);
}

STDMETHODIMP CEventElement::AddElementInto(BSTR strName, BSTR strValue, IEventElement** pElement) {
  return Add([](Element& element) -> NodeContainer* { return &element; }, strName, strValue, pElement);
}

// Creates the object first: when there is no memory for it, the document stays as it was.
HRESULT CEventElement::Add(NodeContainer* (*parentOf)(Element&), BSTR name, BSTR value,
                           IEventElement** out) noexcept {
  return Guarded([&] {
    if (!element_ || !*document_) return E_FAIL;
    ComPtr<CEventElement> object;
    if (out) object = newElementObject_();
    NodeContainer* const parent = parentOf(*element_);
    Element* const added = parent ? parent->AddElement(TextOf(name), TextOf(value)) : &NullElement;
    if (!out) return S_OK;
    object->Attach(document_, added);
    *out = object.Detach();
    return S_OK;
  });
}

}  // namespace varnel
