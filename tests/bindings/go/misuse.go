package main

import (
	"fmt"
	"runtime"
	"strings"
	"sync"
	"syscall"
	"time"
	"unsafe"
	"varnel"
)

func tell(name string, err error) {
	fmt.Printf("%s: 0x%08X\n", name, code(err))
}

// errorOf leaves out what a call returns besides.
func errorOf[T any](_ T, err error) error { return err }

var product = varnel.Product{SoftwareID: "EXAMPLE__1000", RootName: "Root", ElementName: "Product", Name: "Name",
	Version: "1", Family: "F"}

func withProduct(change func(product *varnel.Product)) varnel.Product {
	changed := product
	change(&changed)
	return changed
}

// showUnloading: the last report takes the DLL with it.
func showUnloading(name string, library *varnel.Library) {
	report := must(library.NewReport(product, varnel.Drop))
	succeeds(library.Close())
	isLoaded := func() bool {
		find := syscall.NewLazyDLL("kernel32.dll").NewProc("GetModuleHandleW")
		module, _, _ := find.Call(uintptr(unsafe.Pointer(must(syscall.UTF16PtrFromString("varnel.dll")))))
		return module != 0
	}
	before := isLoaded()
	succeeds(report.Close())
	fmt.Printf("%s: loaded %t, then %t\n", name, before, isLoaded())
}

func showMisuse(dll string) {
	showUnloading("the DLL by its path", must(varnel.Load(dll)))
	showUnloading("the registered DLL", must(varnel.Registered()))
	library := must(varnel.Load(dll))
	open := func(product varnel.Product) error { return errorOf(library.NewReport(product, varnel.Drop)) }
	report := must(library.NewReport(product, varnel.Drop))
	tell("save without the machine", report.Save())
	tell("the machine", report.AddMachine())
	tell("the machine twice", report.AddMachine())
	tell("save without an event", report.Save())
	event := must(report.AddEvent("Event", 1, 1))

	tell("a zero in a value", event.SetAttribute("A", "a\x00b"))
	tell("a zero in a name", errorOf(event.AddChild("a\x00b", "")))
	tell("a control character", event.SetAttribute("A", "\x1F"))
	tell("a lone surrogate", event.SetAttribute("A", "\xED\xA0\x80"))
	tell("a repaired surrogate", errorOf(event.AddChild("Repaired", varnel.Repaired("\xED\xA0\x80a\x00"))))
	tell("a zero in the software identifier", open(withProduct(func(p *varnel.Product) { p.SoftwareID = "A\x00" })))
	for _, one := range [][2]string{{"no name", ""}, {"a namespace", "xmlns"}, {"a colon", "a:b"}, {"a blank", "a b"}} {
		tell(one[0], errorOf(event.AddChild(one[1], "")))
	}
	tell("a name of 10,000 characters", errorOf(event.AddChild(strings.Repeat("n", 10000), "")))
	tell("a name of 10,001 characters", errorOf(event.AddChild(strings.Repeat("n", 10001), "")))
	tell("a reserved child", errorOf(event.AddChild("EventID", "")))
	tell("a reserved child of an event", errorOf(event.AddChild("Severity", "")))
	tell("the same beside it", errorOf(event.AddSibling("Severity", "")))
	tell("a reserved sibling", errorOf(event.AddSibling("GMTTime", "")))
	tell("a reserved attribute", must(report.ProductElement()).SetAttributeInt("ProductName", 1))
	tell("a reserved fact", errorOf(must(report.MachineElement()).AddChild("OSName", "")))
	tell("a reserved element", open(withProduct(func(p *varnel.Product) { p.ElementName = "MachineInfo" })))
	tell("event 0", errorOf(report.AddEvent("Event", 0, 1)))
	year := func(year int) time.Time { return time.Date(year, 1, 1, 0, 0, 0, 0, time.UTC) }
	tell("a time in the year 50", errorOf(report.AddEventAt("Event", 1, 1, year(50))))
	tell("a time in the year 20000", errorOf(report.AddEventAt("Event", 1, 1, year(20000))))
	deep := must(report.AddEvent("Event", 1, 1))
	for level := 3; level < 255; level++ {
		deep = must(deep.AddChild("E", ""))
	}
	tell("a child on level 256", errorOf(deep.AddChild("E", "")))
	tell("a sibling on level 255", errorOf(deep.AddSibling("E", "")))

	tell("a relative path", errorOf(varnel.Load("varnel.dll")))
	tell("a zero in the path", errorOf(varnel.Load("C:\\varnel.dll\x00")))
	tell("a path without a file", errorOf(varnel.Load("C:\\no\\varnel.dll")))
	tell("a file that is no DLL", errorOf(varnel.Load("C:\\windows\\win.ini")))
	tell("a DLL without classes", errorOf(varnel.Load("C:\\windows\\system32\\kernel32.dll")))
	tell("a DLL with other classes", errorOf(varnel.Load("C:\\windows\\system32\\oleaut32.dll")))
	showThreads(report)
	registered, err := varnel.Registered()
	tell("the registered class", err)
	showClosed(library, report, event)
	succeeds(registered.Close())
}

// showThreads: reports go from thread to thread and live longer than their library.
func showThreads(loaded *varnel.Report) {
	library := must(varnel.Registered())
	report := must(library.NewReport(product, varnel.Drop))
	succeeds(library.Close())
	ole32 := syscall.NewLazyDLL("ole32.dll")
	var made *varnel.Report
	done := make(chan struct{})
	go func() {
		defer close(done)
		runtime.LockOSThread()
		defer runtime.UnlockOSThread()
		const singleThreaded = 2
		ole32.NewProc("CoInitializeEx").Call(0, singleThreaded)
		tell("a report on a thread of another apartment", errorOf(report.AddEvent("Event", 1, 1)))
		tell("a loaded report on another thread", errorOf(loaded.AddEvent("Event", 1, 1)))
		library := must(varnel.Registered())
		made = must(library.NewReport(product, varnel.Drop))
		succeeds(library.Close())
		ole32.NewProc("CoUninitialize").Call()
	}()
	<-done
	tell("a report back from that thread", errorOf(report.AddEvent("Event", 1, 1)))
	tell("a report that was made there", errorOf(made.AddEvent("Event", 1, 1)))
	tell("8 goroutines at once", manyAtOnce(made))
	succeeds(made.Close())
	succeeds(report.Close())
}

func manyAtOnce(report *varnel.Report) error {
	var all sync.WaitGroup
	for routine := 0; routine < 8; routine++ {
		all.Add(1)
		go func() {
			defer all.Done()
			for i := 0; i < 2000; i++ {
				event := must(report.AddEvent("Event", 1, 1))
				must(event.AddChild("Child", "value"))
			}
		}()
	}
	all.Wait()
	succeeds(report.AddMachine())
	return report.Save()
}

// showClosed: what Rust's compiler refuses.
func showClosed(library *varnel.Library, report *varnel.Report, event varnel.Element) {
	tell("close", report.Close())
	tell("close twice", report.Close())
	tell("a closed report", report.AddMachine())
	tell("an event of a closed report", errorOf(report.AddEvent("Event", 1, 1)))
	tell("a closed report's element", event.SetAttributeInt("A", 1))
	tell("a child of a closed report's element", errorOf(event.AddChild("A", "")))
	tell("an element of no report", varnel.Element{}.SetAttribute("A", "x"))
	var none *varnel.Report
	tell("no report", none.Save())
	open := must(library.NewReport(product, varnel.Drop))
	tell("close the library", library.Close())
	tell("close the library twice", library.Close())
	tell("a report of a closed library", errorOf(library.NewReport(product, varnel.Drop)))
	tell("an open report of a closed library", errorOf(open.AddEvent("Event", 1, 1)))
	succeeds(open.Close())
	var noLibrary *varnel.Library
	tell("a report of no library", errorOf(noLibrary.NewReport(product, varnel.Drop)))
}
