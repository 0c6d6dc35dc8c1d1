use crate::com::*;
use crate::contract::*;
use crate::error::{Error, Result};
use core::ffi::c_void;
use std::ffi::OsStr;
use std::mem::transmute;
use std::os::windows::ffi::OsStrExt;
use std::ptr::null_mut;
use std::sync::mpsc::{channel, sync_channel, SyncSender};
use std::sync::Arc;
use std::thread::{Builder, JoinHandle};

#[repr(C)]
struct IClassFactory {
    vtable: *const IClassFactoryVtbl,
}
#[repr(C)]
struct IClassFactoryVtbl {
    base: IUnknownVtbl,
    create_instance: unsafe extern "system" fn(This, *mut c_void, *const Guid, *mut *mut c_void) -> HRESULT,
    _lock_server: *const c_void,
}
const IID_ICLASSFACTORY: Guid = Guid(1, 0, 0, [0xC0, 0, 0, 0, 0, 0, 0, 0x46]);

const NEEDS_FROM_SYSTEM_FOLDER: u32 = 0x800; // LOAD_LIBRARY_SEARCH_SYSTEM32
const NEEDS_FROM_ITS_FOLDER: u32 = 8; // LOAD_WITH_ALTERED_SEARCH_PATH
const ERROR_INVALID_PARAMETER: u32 = 87;
const ERROR_PROC_NOT_FOUND: u32 = 127;
const CLASS_E_CLASSNOTAVAILABLE: HRESULT = 0x80040111u32 as i32;
const E_NOINTERFACE: HRESULT = 0x80004002u32 as i32;
const CLSCTX_INPROC_SERVER: u32 = 1;

/// The library that reports are made by. A clone is the same library. The DLL stays loaded until the last clone and
/// report are dropped.
#[derive(Clone)]
pub struct Library {
    source: Arc<Source>,
}

/// The fields are dropped in this order: releasing the factory runs its code.
struct Source {
    factory: Reference<IClassFactory>,
    _origin: Origin,
}

/// What keeps the code of the class in memory.
enum Origin {
    File(LoadedModule),
    Apartment(Apartment),
}

// The factory and all that it makes may be called on every thread.
unsafe impl Send for Source {}
unsafe impl Sync for Source {}

impl Library {
    /// Returns the registered class, or the one that the program's own manifest names. COM need not be
    /// initialised: a thread of the library's own keeps COM's multithreaded apartment alive.
    pub fn registered() -> Result<Self> {
        Self::of(Apartment::enter()).map_err(|code| Error::new("Library::registered", code))
    }

    /// Returns the library of the DLL with that full path, registered or not. The DLLs that it needs come from the
    /// system's folder only.
    pub fn load<P: AsRef<OsStr> + ?Sized>(path: &P) -> Result<Self> {
        Self::of(LoadedModule::load(path.as_ref())).map_err(|code| Error::new("Library::load", code))
    }

    fn of(made: std::result::Result<Source, HRESULT>) -> std::result::Result<Self, HRESULT> {
        made.map(|source| Library { source: Arc::new(source) })
    }

    /// Makes a report object.
    pub(crate) fn create(&self) -> std::result::Result<Reference<IOrbaEventInf3>, HRESULT> {
        let factory = &self.source.factory;
        let mut made = null_mut();
        unsafe {
            let create = (*(*factory.get()).vtable).create_instance;
            let result = create(factory.this(), null_mut(), &IID_IORBAEVENTINF3, &mut made);
            Reference::take(result, made.cast())
        }
    }
}

struct LoadedModule(Module);

// Windows counts and locks modules itself.
unsafe impl Send for LoadedModule {}
unsafe impl Sync for LoadedModule {}

impl LoadedModule {
    fn load(path: &OsStr) -> std::result::Result<Source, HRESULT> {
        let mut wide: Vec<u16> = path.encode_wide().collect();
        if !is_full(&wide) || wide.contains(&0) {
            return Err(BAD_PATH);
        }
        wide.push(0);
        let load = |flags| unsafe {
            let module = LoadLibraryExW(wide.as_ptr(), null_mut(), flags);
            if module.is_null() {
                Err(GetLastError())
            } else {
                Ok(LoadedModule(module))
            }
        };
        let module = load(NEEDS_FROM_SYSTEM_FOLDER)
            .or_else(|error| match error {
                // WINDOWS 7: may lack the update with the flag.
                ERROR_INVALID_PARAMETER => load(NEEDS_FROM_ITS_FOLDER),
                _ => Err(error),
            })
            .map_err(system_result)?;
        let factory = module.factory()?;
        Ok(Source { factory, _origin: Origin::File(module) })
    }

    fn factory(&self) -> std::result::Result<Reference<IClassFactory>, HRESULT> {
        type GetClassObject =
            unsafe extern "system" fn(*const Guid, *const Guid, *mut *mut c_void) -> HRESULT;
        let not_varnel = system_result(ERROR_PROC_NOT_FOUND);
        let get = self.export(b"DllGetClassObject\0").ok_or(not_varnel)?;
        let mut factory = null_mut();
        let made = unsafe {
            let get: GetClassObject = transmute(get);
            let result = get(&CLSID_ORBAEVENTINF, &IID_ICLASSFACTORY, &mut factory);
            Reference::take(result, factory.cast())
        };
        made.map_err(|code| match code {
            CLASS_E_CLASSNOTAVAILABLE | E_NOINTERFACE => not_varnel,
            _ => code,
        })
    }

    /// Returns the function that the module exports under that name, which ends with a zero.
    fn export(&self, name: &'static [u8]) -> Option<*const c_void> {
        let found = unsafe { GetProcAddress(self.0, name.as_ptr()) };
        (!found.is_null()).then(|| found)
    }
}

impl Drop for LoadedModule {
    fn drop(&mut self) {
        type CanUnloadNow = unsafe extern "system" fn() -> HRESULT;
        let in_use = self.export(b"DllCanUnloadNow\0").map_or(false, |ask| unsafe {
            let ask: CanUnloadNow = transmute(ask);
            ask() != 0
        });
        if !in_use {
            unsafe { FreeLibrary(self.0) };
        }
    }
}

/// A thread that keeps the multithreaded apartment alive. The component's objects may be called from every thread,
/// so they are created in that apartment and called without proxies, also by threads of other apartments.
struct Apartment {
    leave: Option<SyncSender<()>>,
    thread: Option<JoinHandle<()>>,
}

impl Apartment {
    fn enter() -> std::result::Result<Source, HRESULT> {
        let (entered, answer) = channel();
        let (leave, end) = sync_channel::<()>(0);
        let thread = Builder::new().name("varnel COM apartment".into()).spawn(move || {
            let result = unsafe { CoInitializeEx(null_mut(), 0) };
            // A reference in a number: the channel wants what may go to another thread.
            let mut factory = null_mut();
            let found = if result < 0 {
                result
            } else {
                let (class, interface) = (&CLSID_ORBAEVENTINF, &IID_ICLASSFACTORY);
                let context = CLSCTX_INPROC_SERVER;
                unsafe { CoGetClassObject(class, context, null_mut(), interface, &mut factory) }
            };
            let _ = entered.send((found, factory as usize));
            let _ = end.recv(); // ends when `leave` is dropped
            if result >= 0 {
                unsafe { CoUninitialize() };
            }
        });
        let thread = thread.map_err(|_| E_OUTOFMEMORY)?;
        let apartment = Apartment { leave: Some(leave), thread: Some(thread) };
        let (result, factory) = answer.recv().map_err(|_| E_UNEXPECTED)?;
        let factory = unsafe { Reference::take(result, factory as *mut IClassFactory)? };
        Ok(Source { factory, _origin: Origin::Apartment(apartment) })
    }
}

impl Drop for Apartment {
    fn drop(&mut self) {
        drop(self.leave.take());
        let _ = self.thread.take().map(JoinHandle::join);
    }
}

/// True if the path names its drive or server: nothing is searched for it.
fn is_full(path: &[u16]) -> bool {
    let is_slash = |at: usize| matches!(path.get(at).copied().map(u32::from), Some(0x2F | 0x5C));
    if is_slash(0) {
        path.get(1) == path.get(0)
    } else {
        path.get(1) == Some(&u16::from(b':')) && is_slash(2)
    }
}
