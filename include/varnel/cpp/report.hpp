// Part of <varnel/varnel.hpp>: one report, from the product's description to the saved file.
#pragma once

#include <string>
#include <utility>
#include <varnel/cpp/element.hpp>
#include <varnel/cpp/event_time.hpp>

namespace varnel {

// The product's description. All six texts are required: they may be empty, but not null.
struct Product {
  Text softwareId;   // decides which folder its reports are saved to, see docs/event-format.md
  Text rootName;     // name of the document's root element
  Text elementName;  // name of the product element
  Text name;
  Text version;
  Text family;
};

// Machine facts that a product may know better than the library. A null or empty text means the system's own
// value.
struct Machine {
  Text osName = {};
  Text userName = {};
};

// How reports behave while the agent is not managed.
enum class Unmanaged {
  kDrop,    // Save writes nothing and succeeds
  kRefuse,  // opening a report and every call of a Report fail with VARNEL_E_NOT_MANAGED
};

namespace detail {

// One argument of a call: its name, its text, and whether the call can use it.
struct Argument {
  const char* name = "";
  const Text* text = nullptr;
  HRESULT status = S_OK;

  std::string Describe() const { return text ? name + (' ' + Quoted(*text)) : std::string(); }
};

inline Argument AsName(const char* name, const Text& text, Kind parent) noexcept {
  const HRESULT status = text.StatusAsName();
  return {name, &text, SUCCEEDED(status) && IsReservedChild(text.View(), parent) ? kReservedName : status};
}

// Returns the first argument that the call cannot use, or an argument without a text.
template <class... Arguments>
Argument FirstFault(const Arguments&... arguments) noexcept {
  Argument fault;
  (void)((FAILED(arguments.status) ? (fault = arguments, true) : false) || ...);
  return fault;
}
inline Argument FirstFault(const Product& product) noexcept {
  const auto needed = [](const char* name, const Text& text) noexcept {
    return Argument{name, &text, text.StatusAsNeeded()};
  };
  return FirstFault(needed("softwareId", product.softwareId),
                    AsName("rootName", product.rootName, Kind::kOther),
                    AsName("elementName", product.elementName, Kind::kRoot), needed("name", product.name),
                    needed("version", product.version), needed("family", product.family));
}
inline Argument FirstFault(const Machine& machine) noexcept {
  return FirstFault(Argument{"osName", &machine.osName, machine.osName.Status()},
                    Argument{"userName", &machine.userName, machine.userName.Status()});
}

}  // namespace detail

// One report. The destructor closes it, saved or not. Its calls return kNotOpen before it is opened, after it
// is closed, and after it has been moved from.
class Report {
 public:
  Report() noexcept = default;
  Report(Report&& other) noexcept { Swap(other); }
  Report& operator=(Report&& other) noexcept {
    Report moved(std::move(other));
    Swap(moved);
    return *this;
  }
  ~Report() { (void)TryClose(); }

  explicit operator bool() const noexcept { return report_ != nullptr; }
  IOrbaEventInf3* Get() const noexcept { return report_.get(); }

  // Opens a report. If this object has one open, closes that one after the new one has been opened; a failure
  // leaves it open.
  [[nodiscard]] HRESULT TryOpen(const Library& library, const Product& product,
                                Unmanaged unmanaged = Unmanaged::kDrop) noexcept {
    if (const detail::Argument fault = detail::FirstFault(product); FAILED(fault.status)) return fault.status;
    IOrbaEventInf3* made = nullptr;
    HRESULT result = library.TryCreate(&made);
    if (FAILED(result)) return result;
    Report opened;
    opened.report_.reset(made);
    const auto initialize =
        unmanaged == Unmanaged::kRefuse ? &IOrbaEventInf3::Initialize3 : &IOrbaEventInf3::Initialize;
    result = (made->*initialize)(product.softwareId.Get(), product.rootName.Get(), product.elementName.Get(),
                                 product.name.Get(), product.version.Get(), product.family.Get());
    if (SUCCEEDED(result)) *this = std::move(opened);
    return result;
  }

  // Adds the machine facts; to be called once, before Save. The library finds the machine's name, address and
  // the other facts itself.
  [[nodiscard]] HRESULT TryAddMachine(const Machine& machine = {}) const noexcept {
    if (const detail::Argument fault = detail::FirstFault(machine); FAILED(fault.status)) return fault.status;
    if (!report_) return kNotOpen;
    if (hasMachine_) return kMachineTwice;
    const HRESULT result =
        report_->CreateMachineElement(nullptr, machine.osName.Get(), machine.userName.Get());
    hasMachine_ = SUCCEEDED(result);
    return result;
  }

  // Adds an event and stores its element in *event, unless null. The time is written in UTC, to the second.
  template <class Duration = std::chrono::system_clock::duration>
  [[nodiscard]] HRESULT TryAddEvent(const Text& name, long id, long severity,
                                    detail::SystemTime<Duration> time = std::chrono::system_clock::now(),
                                    Element* event = nullptr) const noexcept {
    DATE date = 0;
    HRESULT result = detail::AsName("", name, Kind::kProduct).status;
    if (SUCCEEDED(result)) result = detail::ToDate(time, date);
    if (FAILED(result)) return result;
    if (!report_) return kNotOpen;
    if (id == 0) return kBadEventId;
    IEventElement* made = nullptr;
    IOrbaEventInf2& typed = *report_;
    result = typed.CreateEventElement(name.Get(), id, severity, date, event ? &made : nullptr);
    if (made) event->Set(made, Kind::kEvent, Kind::kProduct, 3);
    hasEvent_ = hasEvent_ || SUCCEEDED(result);
    return result;
  }

  // Get the element "MachineInfo" and the product element, to which a product can add elements of its own.
  // Both exist as soon as the report is open.
  [[nodiscard]] HRESULT TryGetMachineElement(Element& machine) const noexcept {
    return GetElement(&IOrbaEventInf2::GetMachineElement, Kind::kMachine, machine);
  }
  [[nodiscard]] HRESULT TryGetProductElement(Element& product) const noexcept {
    return GetElement(&IOrbaEventInf2::GetSoftwareElement, Kind::kProduct, product);
  }

  // Writes the report as one file. A second call writes another file.
  [[nodiscard]] HRESULT TrySave() const noexcept {
    if (!report_) return kNotOpen;
    const HRESULT result = report_->Save();
    if (result != E_FAIL) return result;
    return !hasMachine_ ? kNoMachine : !hasEvent_ ? kNoEvent : result;
  }
  // Writes the report for the agent alone, even without machine facts or events, and even if the agent is not
  // managed and the report was opened with kDrop. For components of the agent, whose software identifiers
  // begin with ORBAAGENT. `extension` has no dot.
  [[nodiscard]] HRESULT TrySaveAgentEventOnly(const Text& softwareId, const Text& extension) const noexcept {
    for (const HRESULT status : {softwareId.StatusAsNeeded(), extension.StatusAsNeeded()})
      if (FAILED(status)) return status;
    return report_ ? report_->SaveAgentEventOnly(softwareId.Get(), extension.Get()) : kNotOpen;
  }

  // Frees the document: this report's and its elements' calls return kNotOpen from now on. The destructor
  // does the same.
  HRESULT TryClose() noexcept {
    if (!report_) return kNotOpen;
    const HRESULT result = report_->DeInitialize();
    report_.reset();
    return result;
  }

  template <class Form = detail::Throwing>
  Report(const Library& library, const Product& product, Unmanaged unmanaged = Unmanaged::kDrop) {
    Form::Check("Report", TryOpen(library, product, unmanaged),
                [&] { return detail::FirstFault(product).Describe(); });
  }
  template <class Form = detail::Throwing>
  void AddMachine(const Machine& machine = {}) const {
    Form::Check("AddMachine", TryAddMachine(machine), [&] { return detail::FirstFault(machine).Describe(); });
  }
  template <class Duration = std::chrono::system_clock::duration, class Form = detail::Throwing>
  Element AddEvent(const Text& name, long id, long severity,
                   detail::SystemTime<Duration> time = std::chrono::system_clock::now()) const {
    Element event;
    Form::Check("AddEvent", TryAddEvent(name, id, severity, time, &event),
                [&] { return detail::Quoted(name) + ", " + std::to_string(id); });
    return event;
  }
  template <class Form = detail::Throwing>
  Element MachineElement() const {
    Element machine;
    Form::Check("MachineElement", TryGetMachineElement(machine));
    return machine;
  }
  template <class Form = detail::Throwing>
  Element ProductElement() const {
    Element product;
    Form::Check("ProductElement", TryGetProductElement(product));
    return product;
  }
  template <class Form = detail::Throwing>
  void Save() const {
    Form::Check("Save", TrySave());
  }
  template <class Form = detail::Throwing>
  void SaveAgentEventOnly(const Text& softwareId, const Text& extension) const {
    Form::Check("SaveAgentEventOnly", TrySaveAgentEventOnly(softwareId, extension),
                [&] { return detail::Quoted(softwareId) + ", " + detail::Quoted(extension); });
  }
  template <class Form = detail::Throwing>
  void Close() {
    Form::Check("Close", TryClose());
  }

 private:
  using Kind = detail::Kind;

  void Swap(Report& other) noexcept {
    std::swap(report_, other.report_);
    std::swap(hasMachine_, other.hasMachine_);
    std::swap(hasEvent_, other.hasEvent_);
  }
  HRESULT GetElement(HRESULT (STDMETHODCALLTYPE IOrbaEventInf2::*method)(IEventElement**), Kind kind,
                     Element& element) const noexcept {
    if (!report_) return kNotOpen;
    IEventElement* made = nullptr;
    const HRESULT result = (report_.get()->*method)(&made);
    if (SUCCEEDED(result)) element.Set(made, kind, Kind::kRoot, 2);
    return result;
  }

  detail::Reference<IOrbaEventInf3> report_;
  // The state of the COM object, so that adding to a const Report is possible.
  mutable bool hasMachine_ = false;
  mutable bool hasEvent_ = false;
};

}  // namespace varnel
