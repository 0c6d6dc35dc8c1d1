// Part of <varnel/varnel.hpp>: one report, from the product's description to the saved file.
#pragma once

#include <string>
#include <utility>
#include <varnel/cpp/element.hpp>
#include <varnel/cpp/event_time.hpp>

namespace varnel {

// What a product says of itself. All six are needed; an empty text will do, null will not.
struct Product {
  Text softwareId;  // decides where its reports go, see docs/event-format.md
  Text rootName;    // of the document's elements: the root, and the one that stands for the product
  Text elementName;
  Text name;
  Text version;
  Text family;
};

// Facts of the machine that a product may know better than the library. Null or empty: the system's own.
struct Machine {
  Text osName = {};
  Text userName = {};
};

// What becomes of reports while the agent is not managed.
enum class Unmanaged {
  kDrop,    // Save writes nothing and succeeds
  kRefuse,  // every call fails with VARNEL_E_NOT_MANAGED
};

namespace detail {

// A text that a call was given: by what name, and whether the call can use it.
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

// Returns the first text that cannot be used, or one without a text.
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

// One report. Closed when it goes, saved or not. Its calls fail with kNotOpen before it is opened, once it is
// closed, and when it was moved from.
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

  // Also on a report that is open: that one is closed when the new one stands.
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

  // Once, before Save. The library finds name, address and the other facts of the machine itself.
  [[nodiscard]] HRESULT TryAddMachine(const Machine& machine = {}) const noexcept {
    if (const detail::Argument fault = detail::FirstFault(machine); FAILED(fault.status)) return fault.status;
    if (!report_) return kNotOpen;
    if (hasMachine_) return kMachineTwice;
    const HRESULT result =
        report_->CreateMachineElement(nullptr, machine.osName.Get(), machine.userName.Get());
    hasMachine_ = SUCCEEDED(result);
    return result;
  }

  // Adds a whole event; `event` may be null. The time is written in UTC, to the second.
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

  // The elements that hold the machine's facts and the product's events, for what a product adds there.
  [[nodiscard]] HRESULT TryGetMachineElement(Element& machine) const noexcept {
    return GetElement(&IOrbaEventInf2::GetMachineElement, Kind::kMachine, machine);
  }
  [[nodiscard]] HRESULT TryGetProductElement(Element& product) const noexcept {
    return GetElement(&IOrbaEventInf2::GetSoftwareElement, Kind::kProduct, product);
  }

  // Writes the file. May be called again, which writes another one.
  [[nodiscard]] HRESULT TrySave() const noexcept {
    if (!report_) return kNotOpen;
    const HRESULT result = report_->Save();
    if (result != E_FAIL) return result;
    return !hasMachine_ ? kNoMachine : !hasEvent_ ? kNoEvent : result;
  }
  // For components of the agent, whose identifiers begin with ORBAAGENT. The extension stands without its
  // dot.
  [[nodiscard]] HRESULT TrySaveAgentEventOnly(const Text& softwareId, const Text& extension) const noexcept {
    for (const HRESULT status : {softwareId.StatusAsNeeded(), extension.StatusAsNeeded()})
      if (FAILED(status)) return status;
    return report_ ? report_->SaveAgentEventOnly(softwareId.Get(), extension.Get()) : kNotOpen;
  }

  // Frees the document; the report and its elements are empty then. The destructor does it as well.
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
  // What the object behind the reference has been given, so that a report may be const as that may.
  mutable bool hasMachine_ = false;
  mutable bool hasEvent_ = false;
};

}  // namespace varnel
