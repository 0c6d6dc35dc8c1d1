// Package varnel makes event reports through varnel.dll, on Windows and without cgo.
//
//	library, err := varnel.Registered()
//	defer library.Close()
//	report, err := library.NewReport(product, varnel.Drop)
//	defer report.Close()
//	err = report.AddMachine()
//	event, err := report.AddEvent("MalwareDetected", 1024, 3)
//	err = event.SetAttribute("Engine", "heuristics")
//	err = report.Save()
//
// A call that fails adds nothing to the report, and returns an *Error that says what was wrong and what to do. Calls
// that succeed make an event document that follows the rules of docs/event-format.md, whatever their arguments are.
//
// Every call may be made on every goroutine, locked to a thread or not, whatever the COM apartment of the thread is. A
// lock in each report lets one call at a time in; different reports are independent. Texts are UTF-8.
package varnel
