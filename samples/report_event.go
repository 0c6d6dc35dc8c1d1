// How a security product reports events from Go. Prints what was wrong and what to do, and returns 1, when something
// goes wrong. In this folder: go build report_event.go
package main

import (
	"fmt"
	"os"
	"varnel"
)

// suspect is a name that nobody has checked: malware may be called anything.
const suspect = "C:\\Users\\Zo\u00EB\\<setup> & \"more\".exe"

func addEvents(report *varnel.Report) error {
	detection, err := report.AddEvent("MalwareDetected", 1024, 3)
	if err != nil {
		return err
	}
	if err := detection.SetAttribute("Engine", "heuristics"); err != nil {
		return err
	}
	if err := detection.SetAttributeInt("Confidence", 97); err != nil {
		return err
	}
	file, err := detection.AddChild("File", varnel.Repaired(suspect))
	if err != nil {
		return err
	}
	if err := file.SetAttribute("Action", "quarantined"); err != nil {
		return err
	}

	update, err := report.AddEvent("SignaturesUpdated", 2401, 1)
	if err != nil {
		return err
	}
	if _, err := update.AddChild("FromVersion", "1.402.11"); err != nil {
		return err
	}
	_, err = update.AddChild("ToVersion", "1.402.12")
	return err
}

func report(library *varnel.Library, softwareID, name string) error {
	report, err := library.NewReport(varnel.Product{SoftwareID: softwareID, RootName: "ProductEvents",
		ElementName: "Product", Name: name, Version: "4.2.0", Family: "Endpoint"}, varnel.Drop)
	if err != nil {
		return err
	}
	defer report.Close()
	if err := report.AddMachine(); err != nil {
		return err
	}
	if err := addEvents(report); err != nil {
		return err
	}
	return report.Save()
}

func reportBoth() error {
	library, err := varnel.Registered()
	if err != nil {
		return err
	}
	defer library.Close()
	// The software identifier decides where a report goes: the first is the management server's own.
	if err := report(library, "ORBASRVR_3500", "Management Server"); err != nil {
		return err
	}
	return report(library, "EXAMPLE__1000", "Example Antivirus")
}

func main() {
	if err := reportBoth(); err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}
