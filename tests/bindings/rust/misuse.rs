//! What becomes of calls that cannot succeed, and of reports on other threads. What the compiler refuses is in
//! refused.rs.
use crate::code;
use core::ffi::c_void;
use std::time::{Duration, UNIX_EPOCH};
use varnel::{Library, Product, Report, Result, Text, Unmanaged};

#[link(name = "ole32")]
extern "system" {
    fn CoInitializeEx(reserved: *mut c_void, apartment: u32) -> i32;
    fn CoUninitialize();
}
#[link(name = "kernel32")]
extern "system" {
    fn GetModuleHandleA(name: *const u8) -> *const c_void;
}
const SINGLE_THREADED: u32 = 2;

const PRODUCT: Product = Product {
    software_id: "EXAMPLE__1000",
    root_name: "Root",
    element_name: "Product",
    name: "Name",
    version: "1",
    family: "F",
};

fn tell<T>(case: &str, result: Result<T>) {
    println!("{case}: 0x{:08X}", code(&result));
}

/// The last report takes the DLL with it.
fn show_unloading(case: &str, library: Library) {
    let report = Report::new(&library, &PRODUCT, Unmanaged::Drop).unwrap();
    drop(library);
    let is_loaded = || unsafe { !GetModuleHandleA(b"varnel.dll\0".as_ptr()).is_null() };
    let before = is_loaded();
    drop(report);
    println!("{case}: loaded {before}, then {}", is_loaded());
}

pub fn show(dll: &str) {
    show_unloading("the DLL by its path", Library::load(dll).unwrap());
    show_unloading("the registered DLL", Library::registered().unwrap());
    let library = Library::load(dll).unwrap();
    let open = |product| Report::new(&library, product, Unmanaged::Drop);
    let report = open(&PRODUCT).unwrap();
    tell("save without the machine", report.save());
    tell("the machine", report.add_machine());
    tell("the machine twice", report.add_machine());
    tell("save without an event", report.save());
    let event = report.add_event("Event", 1, 1).unwrap();

    tell("a zero in a value", event.set_attribute("A", "a\0b"));
    tell("a zero in a name", event.add_child("a\0b", ""));
    tell("a control character", event.set_attribute("A", "\x1F"));
    tell("a lone surrogate", event.set_attribute("A", Text::from_utf16(&[0xD800])));
    tell("a repaired surrogate", event.add_child("Repaired", Text::repaired_utf16(&[0xD800, 0x61, 0])));
    tell("a zero in the software identifier", open(&Product { software_id: "A\0", ..PRODUCT }));
    for (case, name) in [("no name", ""), ("a namespace", "xmlns"), ("a colon", "a:b"), ("a blank", "a b")] {
        tell(case, event.add_child(name, ""));
    }
    tell("a name of 10,000 characters", event.add_child(&"n".repeat(10_000), ""));
    tell("a name of 10,001 characters", event.add_child(&"n".repeat(10_001), ""));
    tell("a reserved child", event.add_child("EventID", ""));
    tell("a reserved child of an event", event.add_child("Severity", ""));
    tell("the same beside it", event.add_sibling("Severity", ""));
    tell("a reserved sibling", event.add_sibling("GMTTime", ""));
    tell("a reserved attribute", report.product_element().unwrap().set_number("ProductName", 1));
    tell("a reserved fact", report.machine_element().unwrap().add_child("OSName", ""));
    tell("a reserved element", open(&Product { element_name: "MachineInfo", ..PRODUCT }));
    tell("event 0", report.add_event("Event", 0, 1));
    let year = |years: i64| Duration::from_secs(years as u64 * 31_556_952);
    tell("a time in the year 50", report.add_event_at("Event", 1, 1, UNIX_EPOCH - year(1920)));
    tell("a time in the year 20000", report.add_event_at("Event", 1, 1, UNIX_EPOCH + year(18_030)));
    let mut deep = report.add_event("Event", 1, 1).unwrap();
    for _ in 3..255 {
        deep = deep.add_child("E", "").unwrap();
    }
    tell("a child on level 256", deep.add_child("E", ""));
    tell("a sibling on level 255", deep.add_sibling("E", ""));

    tell("a relative path", Library::load("varnel.dll"));
    tell("a zero in the path", Library::load("C:\\varnel.dll\0"));
    tell("a path without a file", Library::load("C:\\no\\varnel.dll"));
    tell("a file that is no DLL", Library::load("C:\\windows\\win.ini"));
    tell("a DLL without classes", Library::load("C:\\windows\\system32\\kernel32.dll"));
    tell("a DLL with other classes", Library::load("C:\\windows\\system32\\oleaut32.dll"));
    drop((event, deep));
    show_threads(report);
    tell("the registered class", Library::registered().map(drop));
}

/// Reports go from thread to thread and live longer than their library.
fn show_threads(loaded: Report) {
    let library = Library::registered().unwrap();
    let report = Report::new(&library, &PRODUCT, Unmanaged::Drop).unwrap();
    drop(library);
    let in_apartment = move || {
        unsafe { CoInitializeEx(std::ptr::null_mut(), SINGLE_THREADED) };
        tell("a report on a thread of another apartment", report.add_event("Event", 1, 1));
        tell("a loaded report on another thread", loaded.add_event("Event", 1, 1));
        let library = Library::registered().unwrap();
        let made = Report::new(&library, &PRODUCT, Unmanaged::Drop);
        unsafe { CoUninitialize() };
        (report, loaded, made.unwrap())
    };
    let (report, loaded, made) = std::thread::spawn(in_apartment).join().unwrap();
    tell("a report back from that thread", report.add_event("Event", 1, 1));
    tell("a report that was made there", made.add_event("Event", 1, 1));
    tell("close", loaded.close());
}
