//! How a security product reports events from Rust. Prints what was wrong and what to do, and returns 1, when
//! something goes wrong. In interop/rust: cargo build --example report_event
use std::process::ExitCode;
use varnel::{Library, Product, Report, Result, Text, Unmanaged};

/// A name that nobody has checked: malware may be called anything.
const SUSPECT: &str = r#"C:\Users\Zoë\<setup> & "more".exe"#;

fn report(library: &Library, product: &Product) -> Result<()> {
    let report = Report::new(library, product, Unmanaged::Drop)?;
    report.add_machine()?;

    let detection = report.add_event("MalwareDetected", 1024, 3)?;
    detection.set_attribute("Engine", "heuristics")?.set_number("Confidence", 97)?;
    detection.add_child("File", Text::repaired(SUSPECT))?.set_attribute("Action", "quarantined")?;

    let update = report.add_event("SignaturesUpdated", 2401, 1)?;
    update.add_child("FromVersion", "1.402.11")?;
    update.add_child("ToVersion", "1.402.12")?;

    report.save()
}

fn report_both() -> Result<()> {
    let library = Library::registered()?;
    // The software identifier decides where a report goes: the first is the management server's own.
    for (software_id, name) in
        [("ORBASRVR_3500", "Management Server"), ("EXAMPLE__1000", "Example Antivirus")]
    {
        let product = Product {
            software_id,
            root_name: "ProductEvents",
            element_name: "Product",
            name,
            version: "4.2.0",
            family: "Endpoint",
        };
        report(&library, &product)?;
    }
    Ok(())
}

fn main() -> ExitCode {
    match report_both() {
        Ok(()) => ExitCode::SUCCESS,
        Err(error) => {
            eprintln!("{error}");
            ExitCode::FAILURE
        }
    }
}
