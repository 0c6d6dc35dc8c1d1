use crate::com::{SysAllocStringLen, SysFreeString, E_OUTOFMEMORY};
use crate::contract::{BAD_NAME, BAD_TEXT, BSTR, HRESULT};
use std::ffi::OsStr;
use std::ops::RangeInclusive;
use std::os::windows::ffi::OsStrExt;

/// In UTF-16 units. Readers have limits for names: libxml2 stops at 50,000 bytes.
const LONGEST_NAME: usize = 10_000;
const LONGEST_TEXT: usize = 0x3FFF_FFFF;

/// A text for one call; every `&str`, `&OsStr`, `&Path` and the like becomes one. It is copied once. A text with a
/// fault (a lone surrogate, a control character, a zero) makes the call that gets it fail with
/// [`BAD_TEXT`](crate::contract::BAD_TEXT).
pub struct Text {
    bstr: BSTR, // null: no text
    size: usize,
    status: HRESULT,
}

impl Text {
    /// Returns the text of these UTF-16 units.
    pub fn from_utf16(units: &[u16]) -> Self {
        Self::copy(units.iter().copied(), false)
    }

    /// Returns the text with U+FFFD in the place of each fault: for file names and other texts that an attacker may
    /// have made.
    pub fn repaired<S: AsRef<OsStr> + ?Sized>(text: &S) -> Self {
        Self::copy(text.as_ref().encode_wide(), true)
    }

    /// Returns the same from UTF-16 units.
    pub fn repaired_utf16(units: &[u16]) -> Self {
        Self::copy(units.iter().copied(), true)
    }

    /// No text: a fact that the library finds itself.
    pub(crate) fn none() -> Self {
        Text { bstr: std::ptr::null_mut(), size: 0, status: 0 }
    }

    pub(crate) fn get(&self) -> BSTR {
        self.bstr
    }

    pub(crate) fn units(&self) -> &[u16] {
        if self.bstr.is_null() {
            return &[];
        }
        unsafe { std::slice::from_raw_parts(self.bstr, self.size) }
    }

    /// Returns 0, [`BAD_TEXT`](crate::contract::BAD_TEXT) or the result for lack of memory.
    pub fn status(&self) -> HRESULT {
        self.status
    }

    /// Returns the same, or [`BAD_NAME`](crate::contract::BAD_NAME) for a text that is not an XML name without a colon,
    /// or declares a namespace.
    pub fn status_as_name(&self) -> HRESULT {
        if self.status < 0 || is_name(self.units()) {
            self.status
        } else {
            BAD_NAME
        }
    }

    /// True if both hold the same units.
    pub(crate) fn is(&self, other: &str) -> bool {
        self.units().iter().copied().eq(other.encode_utf16())
    }

    fn copy(units: impl Iterator<Item = u16> + Clone, repair: bool) -> Self {
        let mut text = Text::none();
        let size = units.clone().count();
        if size <= LONGEST_TEXT {
            text.bstr = unsafe { SysAllocStringLen(std::ptr::null(), size as u32) };
        }
        if text.bstr.is_null() {
            text.status = E_OUTOFMEMORY;
            return text;
        }
        let mut at = text.bstr;
        let mut put = |unit| unsafe {
            // Each character becomes as many units as it was read from.
            at.write(unit);
            at = at.add(1);
        };
        for character in char::decode_utf16(units) {
            match character {
                Ok(sound) if is_allowed(sound) => {
                    sound.encode_utf16(&mut [0; 2]).iter().for_each(|unit| put(*unit))
                }
                _ if repair => put(0xFFFD),
                _ => {
                    text.status = BAD_TEXT;
                    return text; // its size stays 0: the rest was not written
                }
            }
        }
        text.size = size;
        text
    }
}

impl<S: AsRef<OsStr> + ?Sized> From<&S> for Text {
    fn from(text: &S) -> Self {
        Self::copy(text.as_ref().encode_wide(), false)
    }
}

impl Drop for Text {
    fn drop(&mut self) {
        unsafe { SysFreeString(self.bstr) };
    }
}

/// True if an XML document can hold the character.
fn is_allowed(character: char) -> bool {
    match character {
        '\t' | '\n' | '\r' => true,
        '\u{FFFE}' | '\u{FFFF}' => false,
        _ => character >= ' ',
    }
}

/// The characters that a name may begin with, and those that it may hold besides, as XML 1.0 has them.
const NAME_START: [RangeInclusive<char>; 15] = [
    'a'..='z',
    'A'..='Z',
    '_'..='_',
    '\u{C0}'..='\u{D6}',
    '\u{D8}'..='\u{F6}',
    '\u{F8}'..='\u{2FF}',
    '\u{370}'..='\u{37D}',
    '\u{37F}'..='\u{1FFF}',
    '\u{200C}'..='\u{200D}',
    '\u{2070}'..='\u{218F}',
    '\u{2C00}'..='\u{2FEF}',
    '\u{3001}'..='\u{D7FF}',
    '\u{F900}'..='\u{FDCF}',
    '\u{FDF0}'..='\u{FFFD}',
    '\u{10000}'..='\u{EFFFF}',
];
const NAME_INSIDE: [RangeInclusive<char>; 5] =
    ['-'..='.', '0'..='9', '\u{B7}'..='\u{B7}', '\u{300}'..='\u{36F}', '\u{203F}'..='\u{2040}'];

fn is_name(units: &[u16]) -> bool {
    let starts = |one: char| NAME_START.iter().any(|range| range.contains(&one));
    let inside = |one: char| starts(one) || NAME_INSIDE.iter().any(|range| range.contains(&one));
    let characters = || char::decode_utf16(units.iter().copied()).map(|one| one.unwrap_or('\0'));
    units.len() <= LONGEST_NAME
        && !units.iter().copied().eq("xmlns".encode_utf16())
        && characters().next().map_or(false, starts)
        && characters().all(inside)
}
