use crate::com::Reference;
use crate::contract::*;
use crate::error::{check, Error, Result};
use crate::report::Report;
use crate::text::Text;
use std::marker::PhantomData;
use std::ptr::null_mut;

/// What an element is, as far as the library writes attributes or children of its own there.
#[derive(Clone, Copy, PartialEq, Eq)]
pub(crate) enum Kind {
    Root,
    Machine,
    Product,
    Event,
    Other,
}

impl Kind {
    /// True if readers would take a child of that name for one that the library writes there.
    pub(crate) fn reserves_child(self, name: &Text) -> bool {
        let own: &[&str] = match self {
            Kind::Root => &["MachineInfo"],
            Kind::Machine => &[
                "MachineName",
                "AgentGUID",
                "IPAddress",
                "OSName",
                "UserName",
                "TimeZoneBias",
                "RawMACAddress",
            ],
            Kind::Event => &["Severity"],
            Kind::Product | Kind::Other => &[],
        };
        ["EventID", "GMTTime"].iter().chain(own).any(|reserved| name.is(reserved))
    }

    fn reserves_attribute(self, name: &Text) -> bool {
        let own = ["ProductName", "ProductVersion", "ProductFamily"];
        self == Kind::Product && own.iter().any(|reserved| name.is(reserved))
    }
}

/// Levels of a document; the root is the first.
const DEEPEST: u16 = 255;

/// An element of a report, which it borrows. Names that the library uses itself fail with
/// [`RESERVED_NAME`](crate::contract::RESERVED_NAME) where they stand for its own elements; docs/event-format.md
/// lists them.
pub struct Element<'report> {
    object: Reference<IEventElement>,
    kind: Kind,
    parent: Kind,
    depth: u16,
    report: PhantomData<&'report Report>,
}

impl<'report> Element<'report> {
    pub(crate) fn new(object: Reference<IEventElement>, kind: Kind, parent: Kind, depth: u16) -> Self {
        Element { object, kind, parent, depth, report: PhantomData }
    }

    /// Appends to the attribute's value when it is set already: x, then y, gives xy.
    pub fn set_attribute(&self, name: impl Into<Text>, value: impl Into<Text>) -> Result<&Self> {
        let (name, value) = (name.into(), value.into());
        self.check_attribute(&name, value.status())?;
        let set = self.table().SetAttributeString;
        let result = unsafe { set(self.object.this(), name.get(), value.get()) };
        check("set_attribute", result).map(|()| self)
    }

    /// Appends an integer of any size, in decimal.
    pub fn set_number(&self, name: impl Into<Text>, value: impl Into<i128>) -> Result<&Self> {
        let value = value.into();
        let short = match i32::try_from(value) {
            Ok(short) => short,
            Err(_) => return self.set_attribute(name, &value.to_string()),
        };
        let name = name.into();
        self.check_attribute(&name, 0)?;
        let set = self.table().SetAttributeInt;
        let result = unsafe { set(self.object.this(), name.get(), short) };
        check("set_attribute", result).map(|()| self)
    }

    /// Adds a child behind the other children of this element. Fails with
    /// [`TOO_DEEP`](crate::contract::TOO_DEEP) below the 255th level.
    pub fn add_child(&self, name: impl Into<Text>, value: impl Into<Text>) -> Result<Element<'report>> {
        if self.depth >= DEEPEST {
            return Err(Error::new("add_child", TOO_DEEP));
        }
        let method = self.table().AddElementInto;
        self.add("add_child", method, name.into(), value.into(), self.kind, self.depth + 1)
    }

    /// Adds an element behind all children of this element's parent.
    pub fn add_sibling(&self, name: impl Into<Text>, value: impl Into<Text>) -> Result<Element<'report>> {
        let method = self.table().AppendElement;
        self.add("add_sibling", method, name.into(), value.into(), self.parent, self.depth)
    }

    fn table(&self) -> &IEventElementVtbl {
        unsafe { &*(*self.object.get()).vtable }
    }

    fn check_attribute(&self, name: &Text, status_of_value: HRESULT) -> Result<()> {
        check("set_attribute", name.status_as_name())?;
        check("set_attribute", status_of_value)?;
        if self.kind.reserves_attribute(name) {
            return Err(Error::new("set_attribute", RESERVED_NAME));
        }
        Ok(())
    }

    fn add(
        &self,
        call: &'static str,
        method: unsafe extern "system" fn(This, BSTR, BSTR, *mut *mut IEventElement) -> HRESULT,
        name: Text,
        value: Text,
        parent: Kind,
        depth: u16,
    ) -> Result<Element<'report>> {
        check(call, name.status_as_name())?;
        check(call, value.status())?;
        if parent.reserves_child(&name) {
            return Err(Error::new(call, RESERVED_NAME));
        }
        let mut made = null_mut();
        let result = unsafe { method(self.object.this(), name.get(), value.get(), &mut made) };
        unsafe { Reference::take(result, made) }
            .map(|object| Element::new(object, Kind::Other, parent, depth))
            .map_err(|code| Error::new(call, code))
    }
}
