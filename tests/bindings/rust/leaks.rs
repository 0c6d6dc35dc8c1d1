//! Makes many reports and shows what has become of the process's handles and private bytes.
use core::ffi::c_void;
use varnel::{Library, Product, Report, Result, Unmanaged};

#[link(name = "kernel32")]
extern "system" {
    fn GetCurrentProcess() -> *mut c_void;
    fn GetHandleInformation(handle: *mut c_void, flags: *mut u32) -> i32;
    fn K32GetProcessMemoryInfo(process: *mut c_void, counters: *mut Counters, size: u32) -> i32;
}

/// PROCESS_MEMORY_COUNTERS
#[repr(C)]
#[derive(Default)]
struct Counters {
    size: u32,
    page_faults: u32,
    sizes: [usize; 6],
    page_file: usize,
    peak: usize,
}

/// Returns the process's handles and private bytes. WINE: the direct questions for both answer with zero.
fn measure() -> (usize, usize) {
    let is_handle = |value: &usize| unsafe { GetHandleInformation((value * 4) as *mut c_void, &mut 0) != 0 };
    let mut counters = Counters::default();
    let size = std::mem::size_of::<Counters>() as u32;
    assert_ne!(0, unsafe { K32GetProcessMemoryInfo(GetCurrentProcess(), &mut counters, size) });
    ((1..2000).filter(is_handle).count(), counters.page_file)
}

/// Everything that takes memory, and each kind of call that is refused. The facts of the machine take most of the time,
/// so every tenth report has them.
fn report(library: &Library, number: usize) -> Result<()> {
    let product = Product {
        software_id: "EXAMPLE__1000",
        root_name: "ProductEvents",
        element_name: "Product",
        name: "Leaks",
        version: "1",
        family: "F",
    };
    assert!(Report::new(library, &Product { element_name: "no name", ..product }, Unmanaged::Drop).is_err());
    assert!(Report::new(library, &product, Unmanaged::Refuse).is_err());
    let report = Report::new(library, &product, Unmanaged::Drop)?;
    for id in 1..3 {
        let event = report.add_event("MalwareDetected", id, 3)?;
        event.set_attribute("Engine", "heuristics")?.set_number("Confidence", 97)?;
        assert!(event.set_attribute("Engine", "\0").is_err());
        event.add_child("File", &"long ".repeat(100))?.add_sibling("Beside", "")?;
    }
    report.product_element()?.add_child("Own", "1")?;
    if number % 10 == 0 {
        report.add_machine()?;
        report.save()?;
    }
    Ok(())
}

pub fn show(reports: usize, library: &Library) {
    let make = |count| {
        (0..count).for_each(|number| report(library, number).unwrap_or_else(|error| panic!("{error}")))
    };
    make(reports / 10);
    let (handles, private) = measure();
    make(reports);
    let (handles_after, private_after) = measure();
    println!("handles {handles} to {handles_after}, private bytes {private} to {private_after}");
}
