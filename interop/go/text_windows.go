package varnel

import (
	"strings"
	"unicode/utf16"
	"unicode/utf8"
	"unsafe"
)

const (
	longestName = 10000 // in UTF-16 units; readers have limits for names: libxml2 stops at 50,000 bytes
	longestText = 0x3FFFFFFF
)

// The characters that a name may begin with, and those that it may hold besides, as XML 1.0 has them.
var nameStart = [][2]rune{{'a', 'z'}, {'A', 'Z'}, {'_', '_'}, {0xC0, 0xD6}, {0xD8, 0xF6}, {0xF8, 0x2FF}, {0x370, 0x37D},
	{0x37F, 0x1FFF}, {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xD7FF}, {0xF900, 0xFDCF},
	{0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}}
var nameInside = [][2]rune{{'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}}

func isIn(ranges [][2]rune, one rune) bool {
	for _, bounds := range ranges {
		if one >= bounds[0] && one <= bounds[1] {
			return true
		}
	}
	return false
}

// isAllowed tells whether an XML document can hold the character.
func isAllowed(one rune) bool {
	return one == '\t' || one == '\n' || one == '\r' || one >= ' ' && one != 0xFFFE && one != 0xFFFF
}

// Repaired returns the text with U+FFFD in the place of each fault, a byte that is not UTF-8 or a character that XML
// cannot hold: for file names and other texts that an attacker may have made.
func Repaired(text string) string {
	if checkText(text) == 0 {
		return text
	}
	return strings.Map(func(one rune) rune {
		if isAllowed(one) {
			return one // also for a byte that is not UTF-8, which is read as U+FFFD
		}
		return utf8.RuneError
	}, text)
}

// CheckText returns an error with BadText for a text that calls would refuse.
func CheckText(text string) error { return check("CheckText", checkText(text)) }

// CheckName returns an error with BadText or BadName for what calls would refuse as the name of an element or attribute;
// they also refuse names that the library uses itself where the name would stand.
func CheckName(name string) error { return check("CheckName", checkName(name)) }

// checkText returns BadText for a text with a fault, otherwise 0.
func checkText(text string) Result {
	for at, one := range text {
		if one == utf8.RuneError {
			if _, size := utf8.DecodeRuneInString(text[at:]); size == 1 {
				return BadText
			}
		}
		if !isAllowed(one) {
			return BadText
		}
	}
	return 0
}

func checkTexts(texts ...string) Result {
	for _, text := range texts {
		if result := checkText(text); result.failed() {
			return result
		}
	}
	return 0
}

// checkName returns a failure for what is not an XML name without a colon, or declares a namespace.
func checkName(name string) Result {
	if result := checkText(name); result.failed() {
		return result
	}
	units := 0
	for at, one := range name {
		if !isIn(nameStart, one) && (at == 0 || !isIn(nameInside, one)) {
			return BadName
		}
		units++
		if one >= 0x10000 {
			units++
		}
	}
	if units == 0 || units > longestName || name == "xmlns" {
		return BadName
	}
	return 0
}

// bstr is a text as COM passes it, with its length in front; 0 is none. It lies outside of Go's memory.
type bstr uintptr

// newTexts returns a text for each, or a failure and none. The caller frees them.
func newTexts(texts ...string) (made []bstr, result Result) {
	made = make([]bstr, 0, len(texts))
	for _, text := range texts {
		units := utf16.Encode([]rune(text))
		var first *uint16
		if len(units) > 0 {
			first = &units[0]
		}
		var one bstr
		if len(units) <= longestText {
			one = bstr(call(sysAllocStringLen.Addr(), uintptr(unsafe.Pointer(first)), uintptr(len(units))))
		}
		if one == 0 {
			freeTexts(made)
			return nil, resultOutOfMemory
		}
		made = append(made, one)
	}
	return made, 0
}

func freeTexts(texts []bstr) {
	for _, one := range texts {
		call(sysFreeString.Addr(), uintptr(one))
	}
}
