//! Event reports from Rust, through varnel.dll.
//!
//! ```no_run
//! # fn main() -> varnel::Result<()> {
//! # let product = varnel::Product {
//! #     software_id: "", root_name: "R", element_name: "P", name: "", version: "", family: "" };
//! let library = varnel::Library::registered()?;
//! let report = varnel::Report::new(&library, &product, varnel::Unmanaged::Drop)?;
//! report.add_machine()?;
//! report.add_event("MalwareDetected", 1024, 3)?.set_attribute("Engine", "heuristics")?;
//! report.save()
//! # }
//! ```
//!
//! A call that fails adds nothing to the report, and its [`Error`] says what was wrong and what to do. Calls that
//! succeed make an event document that follows the rules of docs/event-format.md, whatever their arguments are.
//!
//! Threads: a report may move to another thread, whatever the COM apartment of either is, but belongs to one at a
//! time. Its elements borrow it, so they stay on its thread and cannot outlive it. Different reports are
//! independent.
#![cfg(windows)]
#![warn(missing_docs)]

mod com;
#[allow(missing_docs)]
pub mod contract;
mod element;
mod error;
mod library;
mod report;
mod text;
mod time;

pub use element::Element;
pub use error::{Error, Result};
pub use library::Library;
pub use report::{Machine, Product, Report, Unmanaged};
pub use text::Text;
