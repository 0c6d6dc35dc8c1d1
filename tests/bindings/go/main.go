// Has the conversation of conversation.txt from Go, and shows what the module does with characters, with misuse and with
// memory:
//
//	talk FILE PART DLL|registered
//	characters
//	misuse DLL
//	leaks REPORTS DLL|registered
package main

import (
	"errors"
	"fmt"
	"os"
	"strconv"
	"strings"
	"time"
	"varnel"
)

func code(err error) uint32 {
	var failed *varnel.Error
	if errors.As(err, &failed) {
		return uint32(failed.Result)
	}
	if err != nil {
		panic(err)
	}
	return 0
}

func must[T any](value T, err error) T {
	if err != nil {
		panic(err)
	}
	return value
}

func library(origin string) *varnel.Library {
	if origin == "registered" {
		return must(varnel.Registered())
	}
	return must(varnel.Load(origin))
}

type talk struct {
	library  *varnel.Library
	report   *varnel.Report
	elements map[string]varnel.Element
}

func (talk *talk) open(fields []string) (err error) {
	product := varnel.Product{SoftwareID: fields[1], RootName: fields[2], ElementName: fields[3], Name: fields[4],
		Version: fields[5], Family: fields[6]}
	unmanaged := varnel.Drop
	if fields[7] == "refuse" {
		unmanaged = varnel.Refuse
	}
	talk.report, err = talk.library.NewReport(product, unmanaged)
	return
}

func (talk *talk) do(fields []string) error {
	keep := func(element varnel.Element, err error) error {
		talk.elements[fields[1]] = element
		return err
	}
	number := func(at int) int64 { return must(strconv.ParseInt(fields[at], 10, 64)) }
	switch fields[0] {
	case "open":
		return talk.open(fields)
	case "machine":
		return talk.report.AddMachineAs(varnel.Machine{OSName: fields[1], UserName: fields[2]})
	case "event":
		return keep(talk.report.AddEventAt(fields[2], int32(number(3)), int32(number(4)), time.Unix(number(5), 0)))
	case "machine-element":
		return keep(talk.report.MachineElement())
	case "product-element":
		return keep(talk.report.ProductElement())
	case "set":
		return talk.elements[fields[1]].SetAttribute(fields[2], fields[3])
	case "number":
		return talk.elements[fields[1]].SetAttributeInt(fields[2], number(3))
	case "child":
		return keep(talk.elements[fields[2]].AddChild(fields[3], fields[4]))
	case "sibling":
		return keep(talk.elements[fields[2]].AddSibling(fields[3], fields[4]))
	case "save":
		return talk.report.Save()
	case "save-agent":
		return talk.report.SaveAgentEventOnly(fields[1], fields[2])
	case "close":
		return talk.report.Close()
	}
	panic(fields[0])
}

func converse(file, part, origin string) {
	talk := talk{library: library(origin), elements: map[string]varnel.Element{}}
	defer talk.library.Close()
	inside := false
	for at, line := range strings.Split(string(must(os.ReadFile(file))), "\n") {
		if strings.HasPrefix(line, "[") {
			inside = line == "["+part+"]"
		} else if inside && line != "" && !strings.ContainsAny(line[:1], "#=") {
			fmt.Printf("%d 0x%08X\n", at+1, code(talk.do(strings.Split(line, "|"))))
		}
	}
}

// classOf returns x for a character that no text may hold; otherwise a name may begin with it (s), hold it (i), or not
// (-).
func classOf(codePoint rune) byte {
	text := string(codePoint)
	if codePoint >= 0xD800 && codePoint < 0xE000 {
		text = string([]byte{0xED, byte(0x80 | codePoint>>6&0x3F), byte(0x80 | codePoint&0x3F)})
	}
	switch {
	case varnel.CheckText(text) != nil:
		return 'x'
	case varnel.CheckName(text) == nil:
		return 's'
	case varnel.CheckName("a"+text) == nil:
		return 'i'
	}
	return '-'
}

func showCharacters() {
	first := rune(0)
	for next := rune(1); next <= 0x110000; next++ {
		if next == 0x110000 || classOf(next) != classOf(first) {
			fmt.Printf("%X-%X %c\n", first, next-1, classOf(first))
			first = next
		}
	}
}

func main() {
	switch arguments := os.Args[1:]; arguments[0] {
	case "talk":
		converse(arguments[1], arguments[2], arguments[3])
	case "characters":
		showCharacters()
	case "misuse":
		showMisuse(arguments[1])
	case "leaks":
		showLeaks(must(strconv.Atoi(arguments[1])), library(arguments[2]))
	}
}
