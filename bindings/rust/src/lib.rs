//! Tav for Rust on 64-bit Windows.
//!
//! ```no_run
//! let library = tav::Library::beside_program().expect("tav.dll");
//! let run = library.run("Editor", "4.2", "4.2.0.118", tav::TAV_LANGUAGE_EN_US).expect("status");
//! library.new_event("DocumentOpened").add("Format", "PDF").add("Pages", 12.0).log();
//! run.terminate();
//! ```
//!
//! A function calls the slot of the same name: tav.h describes it. Handles are values, and what
//! consumes a handle takes it by value, so that the compiler refuses a second use. Text ends at its
//! first zero byte. An event that is dropped without `log` is not sent, and its memory is not
//! freed: decide whether to report before making one. The DLL is never unloaded.

mod loading;
mod table;

use std::ffi::{CStr, CString};
use std::os::raw::{c_char, c_void};
use std::path::Path;

pub use table::*;

fn text(value: &str) -> CString {
    let end = value.find('\0').unwrap_or(value.len());
    CString::new(&value[..end]).unwrap_or_default()
}

/// A property's value: a text or a number. A `bool` is neither.
pub enum Value<'a> {
    Text(&'a str),
    Number(f64),
}

impl<'a> From<&'a str> for Value<'a> {
    fn from(value: &'a str) -> Self {
        Value::Text(value)
    }
}

impl<'a> From<&'a String> for Value<'a> {
    fn from(value: &'a String) -> Self {
        Value::Text(value)
    }
}

macro_rules! number {
    ($($kind:ty),*) => {$(
        impl From<$kind> for Value<'_> {
            fn from(value: $kind) -> Self {
                Value::Number(value as f64)
            }
        }
    )*};
}
number!(f64, f32, i8, i16, i32, i64, u8, u16, u32, u64, usize, isize);

/// An event, command or error. It may pass from thread to thread.
#[must_use = "an event is sent by log()"]
pub struct Event {
    table: &'static Table,
    handle: *mut c_void,
}

// The library allows one thread at a time, which ownership ensures.
unsafe impl Send for Event {}

impl Event {
    pub fn add<'a>(self, name: &str, value: impl Into<Value<'a>>) -> Self {
        let name = text(name);
        // SAFETY: the handle is live until log() consumes it; the texts live until the call returns.
        unsafe {
            match value.into() {
                Value::Text(value) => {
                    let value = text(value);
                    (self.table.add_event_property)(self.handle, name.as_ptr(), value.as_ptr());
                }
                Value::Number(value) => {
                    (self.table.add_numeric_event_property)(self.handle, name.as_ptr(), value);
                }
            }
        }
        self
    }

    /// Appends an item to the stack trace of an error event.
    pub fn add_trace_item(self, location: &str, library: &str, meta: &str) -> Self {
        let (location, library, meta) = (text(location), text(library), text(meta));
        // SAFETY: as in add.
        unsafe {
            (self.table.add_trace_item)(
                self.handle,
                location.as_ptr(),
                library.as_ptr(),
                meta.as_ptr(),
            );
        }
        self
    }

    pub fn log(self) {
        // SAFETY: the handle is live, and this call takes the event by value.
        unsafe { (self.table.log_event)(self.handle) }
    }
}

/// An explicit session. Ends when it is dropped.
pub struct Session {
    table: &'static Table,
    handle: *mut c_void,
}

unsafe impl Send for Session {}

impl Session {
    pub fn new_event(&self, name: &str) -> Event {
        let name = text(name);
        // SAFETY: the session is live until it is dropped.
        let handle = unsafe { (self.table.session_new_event)(self.handle, name.as_ptr()) };
        Event { table: self.table, handle }
    }

    pub fn new_command_event(&self, command: &str) -> Event {
        let command = text(command);
        // SAFETY: as above.
        let handle = unsafe { (self.table.session_new_command_event)(self.handle, command.as_ptr()) };
        Event { table: self.table, handle }
    }

    pub fn new_error_event(&self, code: &str, message: &str) -> Event {
        let (code, message) = (text(code), text(message));
        // SAFETY: as above.
        let handle = unsafe {
            (self.table.session_new_error_event)(self.handle, code.as_ptr(), message.as_ptr())
        };
        Event { table: self.table, handle }
    }

    pub fn log_place(&self, place: &str) {
        let place = text(place);
        // SAFETY: as above.
        unsafe { (self.table.session_log_place)(self.handle, place.as_ptr()) }
    }

    pub fn log_idle(&self) {
        // SAFETY: as above.
        unsafe { (self.table.session_log_idle)(self.handle) }
    }

    /// Counters and aggregates of a session have no lock, so they take it for themselves.
    pub fn increment_counter(&mut self, group: &str, counter: &str) {
        let (group, counter) = (text(group), text(counter));
        // SAFETY: as above; &mut keeps other calls out.
        unsafe {
            (self.table.session_increment_counter)(self.handle, group.as_ptr(), counter.as_ptr());
        }
    }

    pub fn aggregate_value(&mut self, event: &str, property: &str, value: f64) {
        let (event, property) = (text(event), text(property));
        // SAFETY: as above.
        unsafe {
            (self.table.session_aggregate_value)(
                self.handle,
                event.as_ptr(),
                property.as_ptr(),
                value,
            );
        }
    }
}

impl Session {
    /// Reports the session's counters and aggregates, and starts them anew.
    pub fn flush_aggregates(&mut self) {
        // SAFETY: as in increment_counter.
        unsafe { (self.table.session_flush_aggregates)(self.handle) }
    }
}

impl Drop for Session {
    fn drop(&mut self) {
        // SAFETY: the session is live, and nothing uses it after this.
        unsafe { (self.table.session_end)(self.handle) }
    }
}

/// Reports under the name and version of one component.
pub struct Component {
    table: &'static Table,
    record: *mut ComponentRecord,
}

unsafe impl Send for Component {}

impl Component {
    fn handle(&self) -> *mut c_void {
        self.record.cast()
    }

    pub fn new_event(&self, name: &str) -> Event {
        let name = text(name);
        // SAFETY: the record is live until it is dropped.
        let handle = unsafe { ((*self.record).new_event)(self.handle(), name.as_ptr()) };
        Event { table: self.table, handle }
    }

    pub fn new_command_event(&self, command: &str) -> Event {
        let command = text(command);
        // SAFETY: as above.
        let handle = unsafe { ((*self.record).new_command_event)(self.handle(), command.as_ptr()) };
        Event { table: self.table, handle }
    }

    pub fn new_error_event(&self, code: &str, message: &str) -> Event {
        let (code, message) = (text(code), text(message));
        // SAFETY: as above.
        let handle = unsafe {
            ((*self.record).new_error_event)(self.handle(), code.as_ptr(), message.as_ptr())
        };
        Event { table: self.table, handle }
    }
}

impl Drop for Component {
    fn drop(&mut self) {
        // SAFETY: the record is live, and nothing uses it after this.
        unsafe { ((*self.record).release)(self.handle()) }
    }
}

/// From Initialize to Terminate, which dropping it calls, too.
pub struct Run {
    table: &'static Table,
}

impl Run {
    /// Sends what it can; returns within the terminate time, 10 seconds by default.
    pub fn terminate(self) {}
}

impl Drop for Run {
    fn drop(&mut self) {
        // SAFETY: the library runs.
        unsafe { (self.table.terminate)() }
    }
}

/// The loaded library. Make settings through `table()` before `run`.
#[derive(Clone, Copy)]
pub struct Library {
    table: &'static Table,
}

impl Library {
    /// Loads the DLL from a full path. The error says why it cannot be used.
    pub fn load(path: &Path) -> Result<Library, String> {
        let address = loading::load(path)?;
        // SAFETY: TavLoader has this signature, and its table is constant while the DLL is loaded.
        unsafe {
            let loader: unsafe extern "C" fn(i32) -> *const Table = std::mem::transmute(address);
            match loader(INTERFACE_VERSION).as_ref() {
                Some(table) => Ok(Library { table }),
                None => Err(format!("it does not serve interface version {INTERFACE_VERSION}")),
            }
        }
    }

    /// Loads tav.dll from the program's folder.
    pub fn beside_program() -> Result<Library, String> {
        let program = std::env::current_exe().map_err(|error| error.to_string())?;
        Library::load(&program.with_file_name("tav.dll"))
    }

    /// The slots themselves, for what has no function here. Calls are unsafe; tav.h has the rules.
    pub fn table(&self) -> &'static Table {
        self.table
    }

    /// Initialize. The error is its status.
    pub fn run(
        &self,
        product: &str,
        version: &str,
        full_version: &str,
        language: i64,
    ) -> Result<Run, i32> {
        let (product, version, full) = (text(product), text(version), text(full_version));
        // SAFETY: the texts live until the call returns.
        let status = unsafe {
            (self.table.initialize)(
                product.as_ptr(),
                version.as_ptr(),
                full.as_ptr(),
                language as i32,
            )
        };
        if i64::from(status) == TAV_OK {
            Ok(Run { table: self.table })
        } else {
            Err(status)
        }
    }

    pub fn new_event(&self, name: &str) -> Event {
        let name = text(name);
        // SAFETY: the text lives until the call returns. So in all functions below.
        let handle = unsafe { (self.table.new_event)(name.as_ptr()) };
        Event { table: self.table, handle }
    }

    pub fn new_command_event(&self, command: &str) -> Event {
        let command = text(command);
        let handle = unsafe { (self.table.new_command_event)(command.as_ptr()) };
        Event { table: self.table, handle }
    }

    pub fn new_error_event(&self, code: &str, message: &str) -> Event {
        let (code, message) = (text(code), text(message));
        let handle = unsafe { (self.table.new_error_event)(code.as_ptr(), message.as_ptr()) };
        Event { table: self.table, handle }
    }

    pub fn log_place(&self, place: &str) {
        let place = text(place);
        unsafe { (self.table.log_place)(place.as_ptr()) }
    }

    pub fn log_idle(&self) {
        unsafe { (self.table.log_idle)() }
    }

    pub fn session_begin(&self) -> Session {
        Session { table: self.table, handle: unsafe { (self.table.session_begin)() } }
    }

    /// None when the library does not run.
    pub fn component(&self, name: &str, version: &str) -> Option<Component> {
        let (name, version) = (text(name), text(version));
        let record: *mut ComponentRecord =
            unsafe { (self.table.create_component_analytics)() }.cast();
        if record.is_null() {
            return None;
        }
        unsafe { ((*record).set_component)(record.cast(), name.as_ptr(), version.as_ptr()) };
        Some(Component { table: self.table, record })
    }

    pub fn add_product_info<'a>(&self, key: &str, value: impl Into<Value<'a>>) {
        let key = text(key);
        match value.into() {
            Value::Text(value) => {
                let value = text(value);
                unsafe { (self.table.add_product_info)(key.as_ptr(), value.as_ptr()) }
            }
            Value::Number(value) => unsafe {
                (self.table.add_numeric_product_info)(key.as_ptr(), value);
            },
        }
    }

    /// For a user who has opted out, before each `run`.
    pub fn opt_out(&self) {
        unsafe { (self.table.opt_out)() }
    }

    /// Waits. Whether everything was sent.
    pub fn commit(&self) -> bool {
        unsafe { (self.table.commit)() == 0 }
    }

    /// Waits. The oldest record as base64 text.
    pub fn pull_data(&self) -> Option<String> {
        // SAFETY: the library's text lives until free_data.
        unsafe {
            let data = (self.table.pull_data)();
            if data.is_null() {
                return None;
            }
            let copy = CStr::from_ptr(data).to_string_lossy().into_owned();
            (self.table.free_data)(data.cast());
            Some(copy)
        }
    }

    pub fn version(&self) -> String {
        // SAFETY: the text lives as long as the DLL.
        unsafe { CStr::from_ptr((self.table.get_version)()) }.to_string_lossy().into_owned()
    }

    /// Waits. Empty when the library does not run.
    pub fn endpoint_identifier(&self) -> String {
        let mut buffer = [0 as c_char; 64];
        // SAFETY: the library writes at most the given size and a zero byte.
        unsafe {
            (self.table.get_endpoint_identifier)(buffer.as_mut_ptr(), buffer.len());
            CStr::from_ptr(buffer.as_ptr()).to_string_lossy().into_owned()
        }
    }
}
