use crate::com::Reference;
use crate::contract::*;
use crate::element::{Element, Kind};
use crate::error::{check, Error, Result};
use crate::library::Library;
use crate::text::Text;
use crate::time::to_date;
use std::cell::Cell;
use std::ptr::null_mut;
use std::time::SystemTime;

const E_FAIL: HRESULT = 0x80004005u32 as i32;

/// What a product says of itself. Texts may be empty, names may not.
#[derive(Clone, Copy, Debug)]
pub struct Product<'a> {
    /// Decides where its reports go, see docs/event-format.md.
    pub software_id: &'a str,
    /// The name of the document's root element.
    pub root_name: &'a str,
    /// The name of the element that stands for the product.
    pub element_name: &'a str,
    /// The product's name.
    pub name: &'a str,
    /// Its version.
    pub version: &'a str,
    /// The family of products that it belongs to.
    pub family: &'a str,
}

/// Facts of the machine that a product may know better than the library; none or empty: the system's own.
#[derive(Default)]
pub struct Machine {
    /// The name of the operating system.
    pub os_name: Option<Text>,
    /// The name of the user.
    pub user_name: Option<Text>,
}

/// What becomes of reports while the agent is not managed.
#[derive(Clone, Copy, Debug, PartialEq, Eq)]
pub enum Unmanaged {
    /// `save` writes nothing and succeeds.
    Drop,
    /// Every call fails with [`E_NOT_MANAGED`](crate::contract::E_NOT_MANAGED).
    Refuse,
}

/// One report. It is closed when it is dropped, saved or not.
pub struct Report {
    object: Reference<IOrbaEventInf3>,
    open: bool,
    has_machine: Cell<bool>,
    has_event: Cell<bool>,
    // Last, so that the code of the object is there until the object has gone.
    _library: Library,
}

// The object and its elements may be called on every thread, by one at a time. Elements borrow the report, which
// is not Sync, so they stay where it is.
unsafe impl Send for Report {}

impl Report {
    /// Opens a report of a product.
    pub fn new(library: &Library, product: &Product, unmanaged: Unmanaged) -> Result<Self> {
        let texts = [
            product.software_id,
            product.root_name,
            product.element_name,
            product.name,
            product.version,
            product.family,
        ]
        .map(Text::from);
        let [id, root, element, name, version, family] = &texts;
        texts.iter().try_for_each(|text| check("Report::new", text.status()))?;
        check_name("Report::new", root, Kind::Other)?;
        check_name("Report::new", element, Kind::Root)?;
        let object = library.create().map_err(|code| Error::new("Report::new", code))?;
        let table = unsafe { &*(*object.get()).vtable };
        let initialize = match unmanaged {
            Unmanaged::Drop => table.base.base.Initialize,
            Unmanaged::Refuse => table.Initialize3,
        };
        let result = unsafe {
            initialize(
                object.this(),
                id.get(),
                root.get(),
                element.get(),
                name.get(),
                version.get(),
                family.get(),
            )
        };
        check("Report::new", result)?;
        Ok(Report {
            object,
            open: true,
            has_machine: Cell::new(false),
            has_event: Cell::new(false),
            _library: library.clone(),
        })
    }

    /// Adds the facts of the machine, which the library finds itself. Once, before `save`.
    pub fn add_machine(&self) -> Result<()> {
        self.add_machine_as(Machine::default())
    }

    /// Adds the facts of the machine, with those that the caller knows better.
    pub fn add_machine_as(&self, machine: Machine) -> Result<()> {
        let os_name = machine.os_name.unwrap_or_else(Text::none);
        let user_name = machine.user_name.unwrap_or_else(Text::none);
        check("add_machine", os_name.status())?;
        check("add_machine", user_name.status())?;
        if self.has_machine.get() {
            return Err(Error::new("add_machine", MACHINE_TWICE));
        }
        let create = self.table().base.base.CreateMachineElement;
        let (os, user) = (os_name.get(), user_name.get());
        check("add_machine", unsafe { create(self.object.this(), null_mut(), os, user) })?;
        self.has_machine.set(true);
        Ok(())
    }

    /// Adds an event that has happened now.
    pub fn add_event(&self, name: impl Into<Text>, id: i32, severity: i32) -> Result<Element<'_>> {
        self.add_event_at(name, id, severity, SystemTime::now())
    }

    /// Adds an event. Its time is written in UTC, to the second.
    pub fn add_event_at(
        &self,
        name: impl Into<Text>,
        id: i32,
        severity: i32,
        time: SystemTime,
    ) -> Result<Element<'_>> {
        let name = name.into();
        check_name("add_event", &name, Kind::Product)?;
        let date = to_date(time).ok_or_else(|| Error::new("add_event", BAD_TIME))?;
        if id == 0 {
            return Err(Error::new("add_event", BAD_EVENT_ID));
        }
        let create = self.table().base.CreateEventElement;
        let event = self.take_element("add_event", Kind::Event, Kind::Product, 3, |made| unsafe {
            create(self.object.this(), name.get(), id, severity, date, made)
        })?;
        self.has_event.set(true);
        Ok(event)
    }

    /// Returns the element that holds the machine's facts, for what a product adds there.
    pub fn machine_element(&self) -> Result<Element<'_>> {
        let get = self.table().base.GetMachineElement;
        self.take_element("machine_element", Kind::Machine, Kind::Root, 2, |made| unsafe {
            get(self.object.this(), made)
        })
    }

    /// Returns the element that holds the product's events, for what a product adds there.
    pub fn product_element(&self) -> Result<Element<'_>> {
        let get = self.table().base.GetSoftwareElement;
        self.take_element("product_element", Kind::Product, Kind::Root, 2, |made| unsafe {
            get(self.object.this(), made)
        })
    }

    /// Writes the file. May be called again, which writes another one.
    pub fn save(&self) -> Result<()> {
        let save = self.table().base.base.Save;
        let result = match unsafe { save(self.object.this()) } {
            E_FAIL if !self.has_machine.get() => NO_MACHINE,
            E_FAIL if !self.has_event.get() => NO_EVENT,
            other => other,
        };
        check("save", result)
    }

    /// Writes the file of a component of the agent, whose identifiers begin with ORBAAGENT. The extension stands
    /// without its dot.
    pub fn save_agent_event_only(
        &self,
        software_id: impl Into<Text>,
        extension: impl Into<Text>,
    ) -> Result<()> {
        let (software_id, extension) = (software_id.into(), extension.into());
        check("save_agent_event_only", software_id.status())?;
        check("save_agent_event_only", extension.status())?;
        let save = self.table().base.SaveAgentEventOnly;
        let result = unsafe { save(self.object.this(), software_id.get(), extension.get()) };
        check("save_agent_event_only", result)
    }

    /// Frees the document. Dropping the report does the same, and says nothing.
    pub fn close(mut self) -> Result<()> {
        self.open = false;
        check("close", self.de_initialize())
    }

    fn table(&self) -> &IOrbaEventInf3Vtbl {
        unsafe { &*(*self.object.get()).vtable }
    }

    fn de_initialize(&self) -> HRESULT {
        unsafe { (self.table().base.base.DeInitialize)(self.object.this()) }
    }

    fn take_element(
        &self,
        call: &'static str,
        kind: Kind,
        parent: Kind,
        depth: u16,
        get: impl FnOnce(*mut *mut IEventElement) -> HRESULT,
    ) -> Result<Element<'_>> {
        let mut made = null_mut();
        let result = get(&mut made);
        unsafe { Reference::take(result, made) }
            .map(|object| Element::new(object, kind, parent, depth))
            .map_err(|code| Error::new(call, code))
    }
}

impl Drop for Report {
    fn drop(&mut self) {
        if self.open {
            self.de_initialize();
        }
    }
}

/// Fails if the text cannot be the name of a child of `parent`.
fn check_name(call: &'static str, name: &Text, parent: Kind) -> Result<()> {
    check(call, name.status_as_name())?;
    if parent.reserves_child(name) {
        return Err(Error::new(call, RESERVED_NAME));
    }
    Ok(())
}
