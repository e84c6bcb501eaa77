//! Finds TavLoader in a library file. The library is never unloaded.

use std::ffi::CString;
use std::os::raw::c_void;
use std::path::Path;

use crate::table::LOADER;

#[cfg(windows)]
pub fn load(path: &Path) -> Result<*const c_void, String> {
    use std::os::raw::c_char;
    use std::os::windows::ffi::OsStrExt;

    #[link(name = "kernel32")]
    extern "system" {
        fn LoadLibraryW(path: *const u16) -> *mut c_void;
        fn GetProcAddress(module: *mut c_void, name: *const c_char) -> *const c_void;
    }

    let wide: Vec<u16> = path.as_os_str().encode_wide().chain([0]).collect();
    let name = CString::from_vec_with_nul(LOADER.to_vec()).map_err(|error| error.to_string())?;
    // SAFETY: both texts are zero-terminated and live until the calls return.
    let address = unsafe {
        let module = LoadLibraryW(wide.as_ptr());
        if module.is_null() {
            return Err(format!("{}: {}", path.display(), std::io::Error::last_os_error()));
        }
        GetProcAddress(module, name.as_ptr())
    };
    if address.is_null() {
        return Err(format!("{} is another library of that name", path.display()));
    }
    Ok(address)
}

/// Tav exists for Windows only; elsewhere the crate compiles, and finds no library.
#[cfg(not(windows))]
pub fn load(path: &Path) -> Result<*const c_void, String> {
    let _ = CString::from_vec_with_nul(LOADER.to_vec());
    Err(format!("{}: Tav is for Windows", path.display()))
}
