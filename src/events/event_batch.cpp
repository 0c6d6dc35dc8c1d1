#include "events/event_batch.h"

namespace varnel {

using AdvXMLParser::Element;
using AdvXMLParser::Savepoint;

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

Element* AppendEvent(const EventBatch& batch, std::wstring_view name, long id, long severity,
                     std::wstring_view timeText) {
  Savepoint savepoint(*batch.softwareElement);
  Element* const event = batch.softwareElement->AddElement(name);
  event->AddElement(L"EventID", DecimalText(id).c_str());
  event->AddElement(L"Severity", DecimalText(severity).c_str());
  event->AddElement(L"GMTTime", timeText);
  savepoint.Commit();
  return event;
}

}  // namespace varnel
