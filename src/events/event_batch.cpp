#include "events/event_batch.h"

#include "events/text_element.h"

namespace varnel {

using AdvXMLParser::Document;
using AdvXMLParser::Element;
using AdvXMLParser::NodeContainer;

EventBatch BuildEventBatch(const ProductTexts& product, ElementObjectFactory newElementObject) {
  EventBatch batch;
  batch.document = std::make_shared<Document>(product.rootName);
  const auto newObjectFor = [&](Element* element) {
    auto object = newElementObject();
    object->Attach(batch.document, element);
    return object;
  };
  batch.machineElement = batch.document->Root()->AddElement(L"MachineInfo");
  batch.machineObject = newObjectFor(batch.machineElement);
  batch.softwareElement = batch.machineElement->AddSiblingElement(product.softwareNodeName);
  batch.softwareElement->AddToAttribute(L"ProductName", product.softwareName);
  batch.softwareElement->AddToAttribute(L"ProductVersion", product.version);
  batch.softwareElement->AddToAttribute(L"ProductFamily", product.productFamily);
  batch.softwareObject = newObjectFor(batch.softwareElement);
  return batch;
}

Element* AppendEvent(EventBatch& batch, std::wstring_view name, long id, long severity,
                     std::wstring_view timeText) {
  NodeContainer* const parent =
      batch.lastEventElement ? batch.lastEventElement->Parent() : batch.softwareElement;
  auto event = std::make_unique<Element>(name, parent);
  AddTextElement(*event, L"EventID", DecimalText(id).c_str());
  AddTextElement(*event, L"Severity", DecimalText(severity).c_str());
  AddTextElement(*event, L"GMTTime", timeText);
  Element* const added = event.get();
  parent->Append(std::move(event));
  batch.lastEventElement = added;
  return added;
}

}  // namespace varnel
