#pragma once

#include "base/com_ptr.h"
#include "varnel/varnel.h"
#include "xml/document.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

namespace varnel {

class CEventElement;

// The document as the report and its element objects share it. The report resets the optional when it frees
// the document.
using SharedDocument = std::shared_ptr<std::optional<AdvXMLParser::Document>>;

// Creates an element object with no element attached and one reference. com/ passes this function to the
// event objects, because only com/ knows the module's lock count and the two forms of an object.
using ElementObjectFactory = ComPtr<CEventElement> (*)();

// The COM object of one element of an event document. It does not keep the document alive: after the event
// object's DeInitialize every method returns E_FAIL and changes nothing.
//
// Otherwise a method returns S_OK, E_OUTOFMEMORY with the document unchanged, or what its comment adds. Null
// texts count as empty; arguments are copied. Out pointers may be null; they are written on success only and
// then carry a reference that the caller releases. Methods take no lock: callers serialise their use of one
// document.
//
// IUnknown and IDispatch come from the object forms in com/.
class CEventElement : public IEventElement {
 public:
  using DefaultInterface = IEventElement;
  static constexpr wchar_t kProgId[] = L"Varnel.EventElement";

  explicit CEventElement(ElementObjectFactory newElementObject) noexcept
      : newElementObject_(newElementObject) {}

  // Attaches the element. Does nothing if an element is attached.
  void Attach(const SharedDocument& document, AdvXMLParser::Element* element) noexcept;

  // Returns the pointer that QueryInterface hands out for `iid`, without a new reference; null if the object
  // does not have that interface.
  void* FindInterface(REFIID iid) noexcept;

  // Appends the text to the value of the attribute `strName`, which is added if it is missing: setting x and
  // then y gives xy. Does nothing, and returns S_OK, if no element is attached.
  STDMETHODIMP SetAttributeString(BSTR strName, BSTR ValueName) override;
  // Like SetAttributeString, with the decimal text of `ValueName`.
  STDMETHODIMP SetAttributeInt(BSTR strName, long ValueName) override;
  // Adds a sibling: an element with the text `strValue`, after the last child of this element's parent.
  // Without a parent nothing is added, and *pElement gets an object whose methods return S_OK and add
  // nothing. E_FAIL if no element is attached.
  STDMETHODIMP AppendElement(BSTR strName, BSTR strValue, IEventElement** pElement) override;
  // Adds a child: an element with the text `strValue`, after this element's last child. E_FAIL if no element
  // is attached.
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

// Returns the argument as the methods take it: up to its first zero; null counts as empty.
inline std::wstring_view TextOf(BSTR text) noexcept {
  return text ? std::wstring_view(text, AdvXMLParser::WideLength(text)) : std::wstring_view();
}

// The decimal digits of a number, with a leading minus sign where needed, without the heap.
class DecimalText {
 public:
  explicit DecimalText(long number) noexcept { _ltow(number, digits_, 10); }
  const wchar_t* c_str() const noexcept { return digits_; }

 private:
  wchar_t digits_[12];
};

}  // namespace varnel
