package varnel

import (
	"math"
	"sync"
	"time"
	"unsafe"
)

// Product is what a product says of itself. Texts may be empty, names may not.
type Product struct {
	SoftwareID  string // decides where its reports go, see docs/event-format.md
	RootName    string // of the document's elements: the root, and the one that stands for the product
	ElementName string
	Name        string
	Version     string
	Family      string
}

// Machine has the facts of the machine that a product may know better than the library; empty: the system's own.
type Machine struct {
	OSName   string
	UserName string
}

// Unmanaged is what becomes of reports while the agent is not managed.
type Unmanaged int

const (
	// Drop lets Save write nothing and succeed.
	Drop Unmanaged = iota
	// Refuse lets every call fail with NotManaged.
	Refuse
)

// Report is one report. Close it, saved or not: nothing else frees its memory.
type Report struct {
	lock       sync.Mutex
	library    *Library
	object     *orbaEventInf3 // nil once it is closed
	elements   []*eventElement
	hasMachine bool
	hasEvent   bool
}

// NewReport opens a report of a product.
func (library *Library) NewReport(product Product, unmanaged Unmanaged) (*Report, error) {
	result := checkTexts(product.SoftwareID, product.Name, product.Version, product.Family)
	if !result.failed() {
		result = checkChildName(product.RootName, kindOther)
	}
	if !result.failed() {
		result = checkChildName(product.ElementName, kindRoot)
	}
	if result.failed() {
		return nil, &Error{"NewReport", result}
	}
	object, result := library.create()
	if result.failed() {
		return nil, &Error{"NewReport", result}
	}
	report := &Report{library: library, object: object}
	initialize := object.vtable.Initialize
	if unmanaged == Refuse {
		initialize = object.vtable.Initialize3
	}
	result = withTexts(func(texts []bstr) Result {
		return method(initialize, uintptr(unsafe.Pointer(object)), uintptr(texts[0]), uintptr(texts[1]),
			uintptr(texts[2]), uintptr(texts[3]), uintptr(texts[4]), uintptr(texts[5]))
	}, product.SoftwareID, product.RootName, product.ElementName, product.Name, product.Version, product.Family)
	if result.failed() {
		report.release()
		return nil, &Error{"NewReport", result}
	}
	return report, nil
}

// AddMachine adds the facts of the machine, which the library finds itself. Once, before Save.
func (report *Report) AddMachine() error { return report.AddMachineAs(Machine{}) }

// AddMachineAs adds the facts of the machine, with those that the caller knows better.
func (report *Report) AddMachineAs(machine Machine) error {
	result := checkTexts(machine.OSName, machine.UserName)
	if !result.failed() {
		result = report.whileOpen(func() Result {
			if report.hasMachine {
				return MachineTwice
			}
			made := withTexts(func(texts []bstr) Result {
				return method(report.object.vtable.CreateMachineElement, uintptr(unsafe.Pointer(report.object)), 0,
					uintptr(texts[0]), uintptr(texts[1]))
			}, machine.OSName, machine.UserName)
			report.hasMachine = !made.failed()
			return made
		})
	}
	return check("AddMachine", result)
}

// AddEvent adds an event that has happened now.
func (report *Report) AddEvent(name string, id, severity int32) (Element, error) {
	return report.AddEventAt(name, id, severity, time.Now())
}

// AddEventAt adds an event. Its time is written in UTC, to the second.
func (report *Report) AddEventAt(name string, id, severity int32, at time.Time) (Element, error) {
	event := Element{report: report, kind: kindEvent, parent: kindProduct, depth: 3}
	result := checkChildName(name, kindProduct)
	date, inside := toDate(at)
	if !result.failed() && !inside {
		result = BadTime
	}
	if !result.failed() && id == 0 {
		result = BadEventID
	}
	if !result.failed() {
		result = report.takeElement(&event, func(made **eventElement) Result {
			return withTexts(func(texts []bstr) Result {
				return report.createEvent(texts[0], id, severity, date, made)
			}, name)
		})
	}
	if result.failed() {
		return Element{}, &Error{"AddEvent", result}
	}
	return event, nil
}

// createEvent passes the date as the processor's convention has it: in one word or in two.
func (report *Report) createEvent(name bstr, id, severity int32, date float64, made **eventElement) Result {
	create, this, bits := report.object.vtable.orbaEventInf2Vtbl.CreateEventElement, report.object, math.Float64bits(date)
	var result Result
	if unsafe.Sizeof(uintptr(0)) == 8 {
		result = method(create, uintptr(unsafe.Pointer(this)), uintptr(name), uintptr(id), uintptr(severity),
			uintptr(bits), uintptr(unsafe.Pointer(made)))
	} else {
		result = method(create, uintptr(unsafe.Pointer(this)), uintptr(name), uintptr(id), uintptr(severity),
			uintptr(uint32(bits)), uintptr(bits>>32), uintptr(unsafe.Pointer(made)))
	}
	report.hasEvent = report.hasEvent || !result.failed()
	return result
}

// MachineElement returns the element that holds the machine's facts, for what a product adds there.
func (report *Report) MachineElement() (Element, error) {
	machine := Element{report: report, kind: kindMachine, parent: kindRoot, depth: 2}
	return report.getElement("MachineElement", machine, func() uintptr {
		return report.object.vtable.orbaEventInf2Vtbl.GetMachineElement
	})
}

// ProductElement returns the element that holds the product's events, for what a product adds there.
func (report *Report) ProductElement() (Element, error) {
	product := Element{report: report, kind: kindProduct, parent: kindRoot, depth: 2}
	return report.getElement("ProductElement", product, func() uintptr {
		return report.object.vtable.orbaEventInf2Vtbl.GetSoftwareElement
	})
}

func (report *Report) getElement(name string, element Element, slot func() uintptr) (Element, error) {
	result := report.takeElement(&element, func(made **eventElement) Result {
		return method(slot(), uintptr(unsafe.Pointer(report.object)), uintptr(unsafe.Pointer(made)))
	})
	if result.failed() {
		return Element{}, &Error{name, result}
	}
	return element, nil
}

// Save writes the file. It may be called again, which writes another one.
func (report *Report) Save() error {
	return check("Save", report.whileOpen(func() Result {
		result := method(report.object.vtable.Save, uintptr(unsafe.Pointer(report.object)))
		switch {
		case result == resultFail && !report.hasMachine:
			return NoMachine
		case result == resultFail && !report.hasEvent:
			return NoEvent
		}
		return result
	}))
}

// SaveAgentEventOnly writes the file of a component of the agent, whose identifiers begin with ORBAAGENT. The extension
// stands without its dot.
func (report *Report) SaveAgentEventOnly(softwareID, extension string) error {
	result := checkTexts(softwareID, extension)
	if !result.failed() {
		result = report.whileOpen(func() Result {
			return withTexts(func(texts []bstr) Result {
				return method(report.object.vtable.SaveAgentEventOnly, uintptr(unsafe.Pointer(report.object)),
					uintptr(texts[0]), uintptr(texts[1]))
			}, softwareID, extension)
		})
	}
	return check("SaveAgentEventOnly", result)
}

// Close frees the document; the report and its elements fail with NotOpen from then on.
func (report *Report) Close() error {
	return check("Close", report.whileOpen(func() Result {
		result := method(report.object.vtable.DeInitialize, uintptr(unsafe.Pointer(report.object)))
		report.release()
		return result
	}))
}

// release releases the elements, the report object and the library.
func (report *Report) release() {
	for _, element := range report.elements {
		call(element.vtable.Release, uintptr(unsafe.Pointer(element)))
	}
	call(report.object.vtable.Release, uintptr(unsafe.Pointer(report.object)))
	report.elements, report.object = nil, nil
	report.library.release()
}

// whileOpen returns what the action does, alone with the report, or NotOpen.
func (report *Report) whileOpen(action func() Result) Result {
	if report == nil {
		return NotOpen
	}
	report.lock.Lock()
	defer report.lock.Unlock()
	if report.object == nil {
		return NotOpen
	}
	return action()
}

// takeElement lets `get` write an element, which the report owns then.
func (report *Report) takeElement(element *Element, get func(made **eventElement) Result) Result {
	return report.whileOpen(func() Result {
		var made *eventElement
		result := get(&made)
		if !result.failed() && made == nil {
			result = resultUnexpected
		}
		if !result.failed() {
			report.elements = append(report.elements, made)
			element.object = made
		}
		return result
	})
}

// withTexts returns what the action does with the texts, which are gone afterwards.
func withTexts(action func(texts []bstr) Result, texts ...string) Result {
	made, result := newTexts(texts...)
	if result.failed() {
		return result
	}
	defer freeTexts(made)
	return action(made)
}
