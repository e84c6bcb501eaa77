//! The binary interface: the table of 65 slots and the component record of sixteen words.

use std::os::raw::{c_char, c_void};

// begin: made from tav.h by ./run bindings
pub const LOADER: &[u8] = b"TavLoader\0";
pub const INTERFACE_VERSION: i32 = 13;
pub const TAV_OK: i64 = 0;
pub const TAV_NO_SESSION_THREAD: i64 = 4;
pub const TAV_ALREADY_INITIALIZED: i64 = 7;
pub const TAV_BAD_PRODUCT: i64 = 8;
pub const TAV_NO_LOCAL_APP_DATA: i64 = 10;
pub const TAV_LANGUAGE_NONE: i64 = 0;
pub const TAV_LANGUAGE_CS_CZ: i64 = 1;
pub const TAV_LANGUAGE_DE_DE: i64 = 2;
pub const TAV_LANGUAGE_EN_US: i64 = 3;
pub const TAV_LANGUAGE_ES_ES: i64 = 4;
pub const TAV_LANGUAGE_FR_FR: i64 = 5;
pub const TAV_LANGUAGE_HU_HU: i64 = 6;
pub const TAV_LANGUAGE_IT_IT: i64 = 7;
pub const TAV_LANGUAGE_JA_JP: i64 = 8;
pub const TAV_LANGUAGE_KO_KR: i64 = 9;
pub const TAV_LANGUAGE_PL_PL: i64 = 10;
pub const TAV_LANGUAGE_PT_BR: i64 = 11;
pub const TAV_LANGUAGE_RU_RU: i64 = 12;
pub const TAV_LANGUAGE_ZH_CN: i64 = 13;
pub const TAV_LANGUAGE_ZH_TW: i64 = 14;
pub const TAV_UNIT_SECONDS: i64 = 0;
pub const TAV_UNIT_MINUTES: i64 = 1;
pub const TAV_UNIT_HOURS: i64 = 2;
pub const TAV_UNIT_DAYS: i64 = 3;
pub const TAV_TAG_EDITION: i64 = 1;
pub const TAV_TAG_COMPONENT: i64 = 2;
pub const TAV_TAG_PACKAGE: i64 = 3;
pub const TAV_TAG_LICENSING_MODEL: i64 = 4;
pub const TAV_TAG_DEPLOYMENT_MODEL: i64 = 5;
pub const TAV_TAG_USER: i64 = 6;
pub const TAV_TAG_TEST: i64 = 7;
pub const TAV_TAG_OTHER: i64 = 8;
pub const TAV_MAX_NAME_BYTES: i64 = 255;
pub const TAV_COMPONENT_MAGIC: i64 = 3735931594;

#[repr(C)]
pub struct Table {
    pub initialize: unsafe extern "C" fn(*const c_char, *const c_char, *const c_char, i32) -> i32,
    pub terminate: unsafe extern "C" fn(),
    pub log_place: unsafe extern "C" fn(*const c_char),
    pub log_event: unsafe extern "C" fn(*mut c_void),
    pub log_idle: unsafe extern "C" fn(),
    pub new_event: unsafe extern "C" fn(*const c_char) -> *mut c_void,
    pub add_event_property: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char),
    pub no_operation: unsafe extern "C" fn(),
    pub session_begin: unsafe extern "C" fn() -> *mut c_void,
    pub session_end: unsafe extern "C" fn(*mut c_void),
    pub session_new_event: unsafe extern "C" fn(*mut c_void, *const c_char) -> *mut c_void,
    pub session_log_place: unsafe extern "C" fn(*mut c_void, *const c_char),
    pub session_log_idle: unsafe extern "C" fn(*mut c_void),
    pub suspend: unsafe extern "C" fn(),
    pub resume: unsafe extern "C" fn(),
    pub create_backdoor: unsafe extern "C" fn() -> *mut c_void,
    pub add_product_info: unsafe extern "C" fn(*const c_char, *const c_char),
    pub add_session_env_info: unsafe extern "C" fn(*const c_char, *const c_char),
    pub set_auxiliary_string: unsafe extern "C" fn(*const c_char),
    pub enable_debug_log: unsafe extern "C" fn(),
    pub set_message_sink: unsafe extern "C" fn(*mut c_void),
    pub set_send_interval: unsafe extern "C" fn(u32, i32),
    pub set_cache_size: unsafe extern "C" fn(i32),
    pub set_line_sink: unsafe extern "C" fn(*mut c_void),
    pub add_numeric_event_property: unsafe extern "C" fn(*mut c_void, *const c_char, f64),
    pub add_numeric_product_info: unsafe extern "C" fn(*const c_char, f64),
    pub add_numeric_session_env_info: unsafe extern "C" fn(*const c_char, f64),
    pub set_state_flags: unsafe extern "C" fn(i32, i32),
    pub commit: unsafe extern "C" fn() -> i32,
    pub set_debug_flags: unsafe extern "C" fn(i32),
    pub add_product_info_value: unsafe extern "C" fn(*const c_char, *mut c_void),
    pub new_map_value: unsafe extern "C" fn() -> *mut c_void,
    pub new_list_value: unsafe extern "C" fn() -> *mut c_void,
    pub add_string_value: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char),
    pub add_numeric_value: unsafe extern "C" fn(*mut c_void, *const c_char, f64),
    pub add_list_value: unsafe extern "C" fn(*mut c_void, *const c_char),
    pub get_endpoint_identifier: unsafe extern "C" fn(*mut c_char, usize),
    pub set_version_qualifier: unsafe extern "C" fn(*const c_char),
    pub get_version: unsafe extern "C" fn() -> *const c_char,
    pub pull_data: unsafe extern "C" fn() -> *mut c_char,
    pub push_data: unsafe extern "C" fn(*const c_char),
    pub free_data: unsafe extern "C" fn(*mut c_void),
    pub increment_counter: unsafe extern "C" fn(*const c_char, *const c_char),
    pub session_increment_counter: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char),
    pub set_customer_identifier: unsafe extern "C" fn(*const c_char),
    pub set_user_identifier: unsafe extern "C" fn(*const c_char),
    pub set_product_context: unsafe extern "C" fn(*const c_char),
    pub set_product_component_name: unsafe extern "C" fn(*const c_char),
    pub aggregate_value: unsafe extern "C" fn(*const c_char, *const c_char, f64),
    pub flush_aggregates: unsafe extern "C" fn(),
    pub session_aggregate_value: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char, f64),
    pub session_flush_aggregates: unsafe extern "C" fn(*mut c_void),
    pub set_cache_directory: unsafe extern "C" fn(*const c_char),
    pub create_component_analytics: unsafe extern "C" fn() -> *mut c_void,
    pub enable_persistent_interval: unsafe extern "C" fn(),
    pub set_send_threshold: unsafe extern "C" fn(i32),
    pub get_last_server_access_time: unsafe extern "C" fn() -> i32,
    pub get_last_active_time: unsafe extern "C" fn() -> i32,
    pub add_tag: unsafe extern "C" fn(i32, *const c_char),
    pub opt_out: unsafe extern "C" fn(),
    pub new_command_event: unsafe extern "C" fn(*const c_char) -> *mut c_void,
    pub session_new_command_event: unsafe extern "C" fn(*mut c_void, *const c_char) -> *mut c_void,
    pub new_error_event: unsafe extern "C" fn(*const c_char, *const c_char) -> *mut c_void,
    pub session_new_error_event: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char) -> *mut c_void,
    pub add_trace_item: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char, *const c_char),
}

#[repr(C)]
pub struct ComponentRecord {
    pub magic: u64,
    pub is_version_supported: unsafe extern "C" fn(*mut c_void, i32) -> bool,
    pub release: unsafe extern "C" fn(*mut c_void),
    pub set_component: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char),
    pub new_event: unsafe extern "C" fn(*mut c_void, *const c_char) -> *mut c_void,
    pub add_event_property: unsafe extern "C" fn(*mut c_void, *mut c_void, *const c_char, *const c_char),
    pub add_numeric_event_property: unsafe extern "C" fn(*mut c_void, *mut c_void, *const c_char, f64),
    pub log_event: unsafe extern "C" fn(*mut c_void, *mut c_void),
    pub get_version: unsafe extern "C" fn(*mut c_void) -> *const c_char,
    pub increment_counter: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char),
    pub aggregate_value: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char, f64),
    pub name: *mut c_char,
    pub version: *mut c_char,
    pub new_command_event: unsafe extern "C" fn(*mut c_void, *const c_char) -> *mut c_void,
    pub new_error_event: unsafe extern "C" fn(*mut c_void, *const c_char, *const c_char) -> *mut c_void,
    pub add_trace_item: unsafe extern "C" fn(*mut c_void, *mut c_void, *const c_char, *const c_char, *const c_char),
}
// end: made from tav.h

const _: () = assert!(std::mem::size_of::<Table>() == 65 * 8);
const _: () = assert!(std::mem::size_of::<ComponentRecord>() == 16 * 8);
