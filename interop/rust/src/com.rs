//! What this crate needs of Windows: functions, and an owner for references.
use crate::contract::{Guid, IUnknownVtbl, BSTR, HRESULT};
use core::ffi::c_void;
use std::ptr::NonNull;

pub(crate) type Module = *mut c_void;

#[link(name = "kernel32")]
extern "system" {
    pub(crate) fn LoadLibraryExW(path: *const u16, file: *mut c_void, flags: u32) -> Module;
    pub(crate) fn GetProcAddress(module: Module, name: *const u8) -> *const c_void;
    pub(crate) fn FreeLibrary(module: Module) -> i32;
    pub(crate) fn GetLastError() -> u32;
}

#[link(name = "ole32")]
extern "system" {
    pub(crate) fn CoInitializeEx(reserved: *mut c_void, apartment: u32) -> HRESULT;
    pub(crate) fn CoUninitialize();
    pub(crate) fn CoGetClassObject(
        class: *const Guid,
        context: u32,
        server: *mut c_void,
        interface: *const Guid,
        object: *mut *mut c_void,
    ) -> HRESULT;
}

#[link(name = "oleaut32")]
extern "system" {
    pub(crate) fn SysAllocStringLen(text: *const u16, length: u32) -> BSTR;
    pub(crate) fn SysFreeString(text: BSTR);
}

pub(crate) const E_OUTOFMEMORY: HRESULT = 0x8007000Eu32 as i32;
pub(crate) const E_UNEXPECTED: HRESULT = 0x8000FFFFu32 as i32;

pub(crate) fn system_result(error: u32) -> HRESULT {
    (0x80070000 | error) as i32
}

/// A counted reference to an object with the interface `T`.
pub(crate) struct Reference<T>(NonNull<T>);

impl<T> Reference<T> {
    /// Takes over the reference that a call with this result has written, if it has.
    ///
    /// # Safety
    /// `object` is null, or a reference with the interface `T` that nothing else owns.
    pub(crate) unsafe fn take(result: HRESULT, object: *mut T) -> Result<Self, HRESULT> {
        let taken = NonNull::new(object).map(Reference);
        if result < 0 {
            return Err(result);
        }
        taken.ok_or(E_UNEXPECTED)
    }

    pub(crate) fn get(&self) -> *mut T {
        self.0.as_ptr()
    }

    pub(crate) fn this(&self) -> *mut c_void {
        self.get().cast()
    }
}

impl<T> Drop for Reference<T> {
    fn drop(&mut self) {
        let object = self.get().cast::<*const IUnknownVtbl>();
        // Every interface begins with a pointer to a table that begins with IUnknown's.
        unsafe { ((**object).Release)(object.cast()) };
    }
}
