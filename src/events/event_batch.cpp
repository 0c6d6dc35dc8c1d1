#include "events/event_batch.h"

#include "events/decimal_text.h"

namespace varnel {

using AdvXMLParser::Addition;
using AdvXMLParser::Element;
using AdvXMLParser::NodeContainer;

EventBatch BuildEventBatch(const ProductTexts& product) {
  EventBatch batch;
  batch.document = DocumentOwner(product.rootName);
  batch.machineElement = batch.document->Root()->AddElement(L"MachineInfo");
  batch.softwareElement = batch.machineElement->AddSiblingElement(product.softwareNodeName);
  batch.softwareElement->AddToAttribute(L"ProductName", product.softwareName);
  batch.softwareElement->AddToAttribute(L"ProductVersion", product.version);
  batch.softwareElement->AddToAttribute(L"ProductFamily", product.productFamily);
  return batch;
}

Element* AppendEvent(EventBatch& batch, std::wstring_view name, long id, long severity,
                     std::wstring_view timeText) {
  NodeContainer* const parent =
      batch.lastEventElement ? batch.lastEventElement->Parent() : batch.softwareElement;
  Addition addition(*parent);
  Element* const event = parent->AddElement(name);
  event->AddElement(L"EventID", DecimalText(id).c_str());
  event->AddElement(L"Severity", DecimalText(severity).c_str());
  event->AddElement(L"GMTTime", timeText);
  addition.Keep();
  batch.lastEventElement = event;
  return event;
}

}  // namespace varnel
