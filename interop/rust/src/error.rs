use crate::contract::{describe, HRESULT};
use std::fmt;

/// A call that failed. It is shown as "CALL: MEANING (CODE). REMEDY".
#[derive(Clone, Copy, Debug, PartialEq, Eq)]
pub struct Error {
    call: &'static str,
    code: HRESULT,
}

/// What the calls of this crate return.
pub type Result<T> = std::result::Result<T, Error>;

impl Error {
    pub(crate) fn new(call: &'static str, code: HRESULT) -> Self {
        Error { call, code }
    }

    /// Returns the result of the call: one of [`crate::contract`], or another of Windows's.
    pub fn code(&self) -> HRESULT {
        self.code
    }

    /// Returns what was wrong, without a full stop.
    pub fn meaning(&self) -> &'static str {
        describe(self.code).0
    }

    /// Returns what to do, in whole sentences.
    pub fn remedy(&self) -> &'static str {
        describe(self.code).1
    }
}

impl fmt::Display for Error {
    fn fmt(&self, out: &mut fmt::Formatter<'_>) -> fmt::Result {
        let (meaning, remedy) = describe(self.code);
        write!(out, "{}: {} (0x{:08X}). {}", self.call, meaning, self.code, remedy)
    }
}

impl std::error::Error for Error {}

/// Turns the result of a call into an error that names the call.
pub(crate) fn check(call: &'static str, result: HRESULT) -> Result<()> {
    if result < 0 {
        Err(Error::new(call, result))
    } else {
        Ok(())
    }
}
