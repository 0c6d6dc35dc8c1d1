package main

import (
	"fmt"
	"runtime/debug"
	"strings"
	"syscall"
	"unsafe"
	"varnel"
)

// memoryCounters is PROCESS_MEMORY_COUNTERS.
type memoryCounters struct {
	size, pageFaults uint32
	sizes            [6]uintptr
	pageFile, peak   uintptr
}

// measure returns the process's handles and private bytes. WINE: the direct questions for both answer with zero.
func measure() (handles int, private uintptr) {
	debug.FreeOSMemory()
	kernel32 := syscall.NewLazyDLL("kernel32.dll")
	counters, flags := memoryCounters{size: uint32(unsafe.Sizeof(memoryCounters{}))}, uint32(0)
	process, _, _ := kernel32.NewProc("GetCurrentProcess").Call()
	told, _, _ := kernel32.NewProc("K32GetProcessMemoryInfo").Call(process, uintptr(unsafe.Pointer(&counters)),
		uintptr(counters.size))
	if told == 0 {
		panic("no figures")
	}
	isHandle := kernel32.NewProc("GetHandleInformation")
	for value := uintptr(4); value < 8000; value += 4 {
		if is, _, _ := isHandle.Call(value, uintptr(unsafe.Pointer(&flags))); is != 0 {
			handles++
		}
	}
	return handles, counters.pageFile
}

func fails(err error) {
	if err == nil {
		panic("a call that was to fail")
	}
}

func succeeds(err error) {
	if err != nil {
		panic(err)
	}
}

// makeReport does everything that takes memory, and each kind of call that is refused. The facts of the machine take most of
// the time, so every tenth report has them.
func makeReport(library *varnel.Library, long string, number int) {
	product := varnel.Product{SoftwareID: "EXAMPLE__1000", RootName: "ProductEvents", ElementName: "no name"}
	_, err := library.NewReport(product, varnel.Drop)
	fails(err)
	product.ElementName = "Product"
	_, err = library.NewReport(product, varnel.Refuse)
	fails(err)
	report := must(library.NewReport(product, varnel.Drop))
	for id := int32(1); id < 3; id++ {
		event := must(report.AddEvent("MalwareDetected", id, 3))
		succeeds(event.SetAttribute("Engine", "heuristics"))
		succeeds(event.SetAttributeInt("Confidence", 97))
		fails(event.SetAttribute("Engine", "\x00"))
		must(must(event.AddChild("File", long)).AddSibling("Beside", ""))
	}
	must(must(report.ProductElement()).AddChild("Own", "1"))
	if number%10 == 0 {
		succeeds(report.AddMachine())
		succeeds(report.Save())
	}
	succeeds(report.Close())
}

func showLeaks(reports int, library *varnel.Library) {
	long := strings.Repeat("long ", 100)
	for i := 0; i < reports/10; i++ {
		makeReport(library, long, i)
	}
	handles, private := measure()
	for i := 0; i < reports; i++ {
		makeReport(library, long, i)
	}
	handlesAfter, privateAfter := measure()
	fmt.Printf("handles %d to %d, private bytes %d to %d\n", handles, handlesAfter, private, privateAfter)
}
