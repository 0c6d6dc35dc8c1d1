package varnel

import (
	"strconv"
	"unsafe"
)

// kind is what an element is, as far as the library writes attributes or children of its own there.
type kind uint8

const (
	kindOther kind = iota
	kindRoot
	kindMachine
	kindProduct
	kindEvent
)

const deepest = 255 // levels of a document; the root is the first

var reservedChildren = map[kind][]string{
	kindRoot: {"MachineInfo"},
	kindMachine: {"MachineName", "AgentGUID", "IPAddress", "OSName", "UserName", "TimeZoneBias",
		"RawMACAddress"},
	kindEvent: {"Severity"},
}

func isOneOf(name string, names []string) bool {
	for _, one := range names {
		if name == one {
			return true
		}
	}
	return false
}

// checkChildName returns a failure for what cannot be the name of a child of an element of that kind; readers would
// take some for those that the library writes there.
func checkChildName(name string, parent kind) Result {
	if result := checkName(name); result.failed() {
		return result
	}
	if name == "EventID" || name == "GMTTime" || isOneOf(name, reservedChildren[parent]) {
		return ReservedName
	}
	return 0
}

func checkAttributeName(name string, element kind) Result {
	if result := checkName(name); result.failed() {
		return result
	}
	if element == kindProduct && isOneOf(name, []string{"ProductName", "ProductVersion", "ProductFamily"}) {
		return ReservedName
	}
	return 0
}

// Element is an element of a report. It can be used until the report is closed; afterwards its calls fail with NotOpen,
// as those of the zero Element do. Names that the library uses itself fail with ReservedName where they stand for its
// own elements; docs/event-format.md lists them.
type Element struct {
	report *Report
	object *eventElement
	kind   kind
	parent kind
	depth  uint16
}

// SetAttribute appends to the attribute's value when it is set already: x, then y, gives xy.
func (element Element) SetAttribute(name, value string) error {
	result := checkAttributeName(name, element.kind)
	if !result.failed() {
		result = checkText(value)
	}
	if !result.failed() {
		result = element.report.whileOpen(func() Result {
			return withTexts(func(texts []bstr) Result {
				return method(element.object.vtable.SetAttributeString, uintptr(unsafe.Pointer(element.object)),
					uintptr(texts[0]), uintptr(texts[1]))
			}, name, value)
		})
	}
	return check("SetAttribute", result)
}

// SetAttributeInt appends an integer, in decimal.
func (element Element) SetAttributeInt(name string, value int64) error {
	if int64(int32(value)) != value {
		return element.SetAttribute(name, strconv.FormatInt(value, 10))
	}
	result := checkAttributeName(name, element.kind)
	if !result.failed() {
		result = element.report.whileOpen(func() Result {
			return withTexts(func(texts []bstr) Result {
				return method(element.object.vtable.SetAttributeInt, uintptr(unsafe.Pointer(element.object)),
					uintptr(texts[0]), uintptr(int32(value)))
			}, name)
		})
	}
	return check("SetAttribute", result)
}

// AddChild adds a child behind the other children of this element. It fails with TooDeep below the 255th level.
func (element Element) AddChild(name, value string) (Element, error) {
	if element.depth >= deepest {
		return Element{}, &Error{"AddChild", TooDeep}
	}
	child := Element{report: element.report, parent: element.kind, depth: element.depth + 1}
	return element.add("AddChild", child, name, value, func() uintptr { return element.object.vtable.AddElementInto })
}

// AddSibling adds an element behind all children of this element's parent.
func (element Element) AddSibling(name, value string) (Element, error) {
	sibling := Element{report: element.report, parent: element.parent, depth: element.depth}
	return element.add("AddSibling", sibling, name, value, func() uintptr { return element.object.vtable.AppendElement })
}

// add fills `added` in. The table may be looked at only while the report is open.
func (element Element) add(name string, added Element, elementName, value string, slot func() uintptr) (Element, error) {
	result := checkChildName(elementName, added.parent)
	if !result.failed() {
		result = checkText(value)
	}
	if !result.failed() {
		result = element.report.takeElement(&added, func(made **eventElement) Result {
			return withTexts(func(texts []bstr) Result {
				return method(slot(), uintptr(unsafe.Pointer(element.object)), uintptr(texts[0]), uintptr(texts[1]),
					uintptr(unsafe.Pointer(made)))
			}, elementName, value)
		})
	}
	if result.failed() {
		return Element{}, &Error{name, result}
	}
	return added, nil
}
