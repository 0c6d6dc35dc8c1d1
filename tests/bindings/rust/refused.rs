//! What the compiler refuses. Each case is compiled by itself, with --cfg CASE, and the error that it has to give stands
//! beside it; without any it compiles.
use varnel::{Element, Library, Product, Report, Unmanaged};

#[allow(dead_code)]
fn element_of(report: &Report) -> Element<'_> {
    report.add_event("Event", 1, 1).unwrap()
}

#[allow(unused_variables)]
fn use_report(library: &Library, product: &Product) {
    let report = Report::new(library, product, Unmanaged::Drop).unwrap();
    let event = element_of(&report);
    #[cfg(element_after_close)] // E0505
    report.close().unwrap();
    #[cfg(element_after_drop)] // E0505
    drop(report);
    event.set_attribute("A", "x").unwrap();
    #[cfg(report_after_close)] // E0382
    {
        report.close().unwrap();
        report.save().unwrap();
    }
    #[cfg(report_on_two_threads)] // E0277
    std::thread::scope(|scope| drop(scope.spawn(|| report.save())));
    #[cfg(element_on_another_thread)] // E0277
    std::thread::scope(|scope| drop(scope.spawn(move || event.set_attribute("A", "x").is_ok())));
}

fn main() {
    let _ = use_report;
}
