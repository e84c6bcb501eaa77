"""Tav for Python 3.8 or later on 64-bit Windows: one file over ctypes, to be copied into a program.

    import tav

    library = tav.Library.beside_program()      # loads tav.dll; OSError if it is missing
    with library.run("Editor", "4.2", "4.2.0.118", tav.LANGUAGE_EN_US):
        library.new_event("DocumentOpened").add("Format", "PDF").add("Pages", 12).log()

A method calls the slot of the same name; tav.h describes each, with its limits and messages. What
this file adds:

Handles. An event is consumed by log(), a session by end(), a component by release(), a map or list
by add_product_info_value(). Using one afterwards raises Consumed, and does not reach the library.

Text. str becomes UTF-8 and ends at its first zero character. Numbers are sent as doubles; bool is
refused, because it is neither.

Threads. As tav.h says. ctypes releases the interpreter's lock during each call, so commit() and
terminate() do not stop other Python threads.

Log. Use the environment variable TAV_LOGFILE, or set_message_sink() with a function of a str. The
function is called on threads of the library, and must not call the library.

The DLL is never unloaded.
"""

import ctypes
import os
import sys
from ctypes import (c_bool, c_char_p, c_double, c_int32, c_size_t, c_uint32, c_uint64, c_void_p,
                    create_string_buffer)

# begin: made from tav.h by ./run bindings
_LOADER = "TavLoader"
_INTERFACE_VERSION = 13

OK = 0
NO_SESSION_THREAD = 4
ALREADY_INITIALIZED = 7
BAD_PRODUCT = 8
NO_LOCAL_APP_DATA = 10
LANGUAGE_NONE = 0
LANGUAGE_CS_CZ = 1
LANGUAGE_DE_DE = 2
LANGUAGE_EN_US = 3
LANGUAGE_ES_ES = 4
LANGUAGE_FR_FR = 5
LANGUAGE_HU_HU = 6
LANGUAGE_IT_IT = 7
LANGUAGE_JA_JP = 8
LANGUAGE_KO_KR = 9
LANGUAGE_PL_PL = 10
LANGUAGE_PT_BR = 11
LANGUAGE_RU_RU = 12
LANGUAGE_ZH_CN = 13
LANGUAGE_ZH_TW = 14
UNIT_SECONDS = 0
UNIT_MINUTES = 1
UNIT_HOURS = 2
UNIT_DAYS = 3
TAG_EDITION = 1
TAG_COMPONENT = 2
TAG_PACKAGE = 3
TAG_LICENSING_MODEL = 4
TAG_DEPLOYMENT_MODEL = 5
TAG_USER = 6
TAG_TEST = 7
TAG_OTHER = 8
MAX_NAME_BYTES = 255
COMPONENT_MAGIC = 3735931594

# (name, result, parameters)
_TABLE = (
    ("Initialize", c_int32, (c_char_p, c_char_p, c_char_p, c_int32,)),
    ("Terminate", None, ()),
    ("LogPlace", None, (c_char_p,)),
    ("LogEvent", None, (c_void_p,)),
    ("LogIdle", None, ()),
    ("NewEvent", c_void_p, (c_char_p,)),
    ("AddEventProperty", None, (c_void_p, c_char_p, c_char_p,)),
    ("NoOperation", None, ()),
    ("SessionBegin", c_void_p, ()),
    ("SessionEnd", None, (c_void_p,)),
    ("SessionNewEvent", c_void_p, (c_void_p, c_char_p,)),
    ("SessionLogPlace", None, (c_void_p, c_char_p,)),
    ("SessionLogIdle", None, (c_void_p,)),
    ("Suspend", None, ()),
    ("Resume", None, ()),
    ("CreateBackdoor", c_void_p, ()),
    ("AddProductInfo", None, (c_char_p, c_char_p,)),
    ("AddSessionEnvInfo", None, (c_char_p, c_char_p,)),
    ("SetAuxiliaryString", None, (c_char_p,)),
    ("EnableDebugLog", None, ()),
    ("SetMessageSink", None, (c_void_p,)),
    ("SetSendInterval", None, (c_uint32, c_int32,)),
    ("SetCacheSize", None, (c_int32,)),
    ("SetLineSink", None, (c_void_p,)),
    ("AddNumericEventProperty", None, (c_void_p, c_char_p, c_double,)),
    ("AddNumericProductInfo", None, (c_char_p, c_double,)),
    ("AddNumericSessionEnvInfo", None, (c_char_p, c_double,)),
    ("SetStateFlags", None, (c_int32, c_int32,)),
    ("Commit", c_int32, ()),
    ("SetDebugFlags", None, (c_int32,)),
    ("AddProductInfoValue", None, (c_char_p, c_void_p,)),
    ("NewMapValue", c_void_p, ()),
    ("NewListValue", c_void_p, ()),
    ("AddStringValue", None, (c_void_p, c_char_p, c_char_p,)),
    ("AddNumericValue", None, (c_void_p, c_char_p, c_double,)),
    ("AddListValue", None, (c_void_p, c_char_p,)),
    ("GetEndpointIdentifier", None, (c_void_p, c_size_t,)),
    ("SetVersionQualifier", None, (c_char_p,)),
    ("GetVersion", c_char_p, ()),
    ("PullData", c_void_p, ()),
    ("PushData", None, (c_char_p,)),
    ("FreeData", None, (c_void_p,)),
    ("IncrementCounter", None, (c_char_p, c_char_p,)),
    ("SessionIncrementCounter", None, (c_void_p, c_char_p, c_char_p,)),
    ("SetCustomerIdentifier", None, (c_char_p,)),
    ("SetUserIdentifier", None, (c_char_p,)),
    ("SetProductContext", None, (c_char_p,)),
    ("SetProductComponentName", None, (c_char_p,)),
    ("AggregateValue", None, (c_char_p, c_char_p, c_double,)),
    ("FlushAggregates", None, ()),
    ("SessionAggregateValue", None, (c_void_p, c_char_p, c_char_p, c_double,)),
    ("SessionFlushAggregates", None, (c_void_p,)),
    ("SetCacheDirectory", None, (c_char_p,)),
    ("CreateComponentAnalytics", c_void_p, ()),
    ("EnablePersistentInterval", None, ()),
    ("SetSendThreshold", None, (c_int32,)),
    ("GetLastServerAccessTime", c_int32, ()),
    ("GetLastActiveTime", c_int32, ()),
    ("AddTag", None, (c_int32, c_char_p,)),
    ("OptOut", None, ()),
    ("NewCommandEvent", c_void_p, (c_char_p,)),
    ("SessionNewCommandEvent", c_void_p, (c_void_p, c_char_p,)),
    ("NewErrorEvent", c_void_p, (c_char_p, c_char_p,)),
    ("SessionNewErrorEvent", c_void_p, (c_void_p, c_char_p, c_char_p,)),
    ("AddTraceItem", None, (c_void_p, c_char_p, c_char_p, c_char_p,)),
)

# The same; a field has no parameters.
_COMPONENT = (
    ("magic", c_uint64, None),
    ("IsVersionSupported", c_bool, (c_void_p, c_int32,)),
    ("Release", None, (c_void_p,)),
    ("SetComponent", None, (c_void_p, c_char_p, c_char_p,)),
    ("NewEvent", c_void_p, (c_void_p, c_char_p,)),
    ("AddEventProperty", None, (c_void_p, c_void_p, c_char_p, c_char_p,)),
    ("AddNumericEventProperty", None, (c_void_p, c_void_p, c_char_p, c_double,)),
    ("LogEvent", None, (c_void_p, c_void_p,)),
    ("GetVersion", c_char_p, (c_void_p,)),
    ("IncrementCounter", None, (c_void_p, c_char_p, c_char_p,)),
    ("AggregateValue", None, (c_void_p, c_char_p, c_char_p, c_double,)),
    ("name", c_void_p, None),
    ("version", c_void_p, None),
    ("NewCommandEvent", c_void_p, (c_void_p, c_char_p,)),
    ("NewErrorEvent", c_void_p, (c_void_p, c_char_p, c_char_p,)),
    ("AddTraceItem", None, (c_void_p, c_void_p, c_char_p, c_char_p, c_char_p,)),
)
# end: made from tav.h

_SINK = ctypes.CFUNCTYPE(None, c_char_p)


class Consumed(Exception):
    """A handle was used after the call that consumed it."""


class Refused(Exception):
    """Initialize refused to start; `status` is one of the constants, and the log says why."""

    def __init__(self, status):
        super().__init__("Initialize returned status %d" % status)
        self.status = status


def _text(value):
    if not isinstance(value, str):
        raise TypeError("a text must be a str, not %s" % type(value).__name__)
    return value.encode("utf-8", "surrogatepass")


def _is_number(value):
    if isinstance(value, bool):
        raise TypeError("a bool is neither a text nor a number: pass str(value) or int(value)")
    return isinstance(value, (int, float))


class _Handle:
    """Owns a handle of the library until a call consumes it."""

    def __init__(self, slots, handle):
        self._slots = slots
        self._handle = handle

    def _use(self):
        if self._handle is None:
            raise Consumed("this %s was used up by an earlier call" % type(self).__name__.lower())
        return self._handle

    def _consume(self):
        handle = self._use()
        self._handle = None
        return handle


class Event(_Handle):
    """An event, command or error. log() reports and consumes it; one thread at a time."""

    def add(self, name, value):
        """Sets a property to a str or a number. Returns the event."""
        if _is_number(value):
            self._slots.AddNumericEventProperty(self._use(), _text(name), value)
        else:
            self._slots.AddEventProperty(self._use(), _text(name), _text(value))
        return self

    def add_trace_item(self, location, library="", meta=""):
        """Appends an item to the stack trace of an error event. Returns the event."""
        self._slots.AddTraceItem(self._use(), _text(location), _text(library), _text(meta))
        return self

    def log(self):
        self._slots.LogEvent(self._consume())


class _EventMaker:
    """What the library, a session and a component have in common; `_call` calls the slot of each."""

    def new_event(self, name):
        return Event(self._slots, self._call("NewEvent", _text(name)))

    def new_command_event(self, command):
        return Event(self._slots, self._call("NewCommandEvent", _text(command)))

    def new_error_event(self, code, message=""):
        return Event(self._slots, self._call("NewErrorEvent", _text(code), _text(message)))

    def increment_counter(self, group, counter):
        """Not on two threads at once for the same session (or for the library and its components)."""
        self._call("IncrementCounter", _text(group), _text(counter))

    def aggregate_value(self, event, name, value):
        self._call("AggregateValue", _text(event), _text(name), value)


class _Reporter(_EventMaker):
    """What the library and a session have in common; `_prefix` selects the slots of a session."""

    _prefix = ""

    def _call(self, name, *arguments):
        return getattr(self._slots, self._prefix + name)(*self._first(), *arguments)

    def _first(self):
        return ()

    def log_place(self, place):
        self._call("LogPlace", _text(place))

    def log_idle(self):
        self._call("LogIdle")

    def flush_aggregates(self):
        self._call("FlushAggregates")


class Session(_Handle, _Reporter):
    """An explicit session. Ends with end(), or as a context manager."""

    _prefix = "Session"

    def _first(self):
        return (self._use(),)

    def end(self):
        self._slots.SessionEnd(self._consume())

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        if self._handle is not None:
            self.end()


class Value(_Handle):
    """A map (add with a name) or a list (append) for add_product_info_value, which consumes it."""

    def add(self, name, value):
        if _is_number(value):
            self._slots.AddNumericValue(self._use(), _text(name), value)
        else:
            self._slots.AddStringValue(self._use(), _text(name), _text(value))
        return self

    def append(self, item):
        self._slots.AddListValue(self._use(), _text(item))
        return self


class Component(_Handle, _EventMaker):
    """Reports for one component of the program, under its own name and version."""

    def __init__(self, slots, handle, name, version):
        super().__init__(slots, handle)
        words = ctypes.cast(handle, ctypes.POINTER(c_uint64))
        self._operations = {}
        for word, (operation, result, parameters) in enumerate(_COMPONENT):
            if parameters is not None:
                prototype = ctypes.CFUNCTYPE(result, *parameters)
                self._operations[operation] = prototype(words[word])
        self._call("SetComponent", _text(name), _text(version))

    def _call(self, name, *arguments):
        return self._operations[name](self._use(), *arguments)

    def release(self):
        self._operations["Release"](self._consume())


class _Slots:
    """The table as attributes."""

    def __init__(self, table):
        words = ctypes.cast(table, ctypes.POINTER(c_uint64))
        for slot, (name, result, parameters) in enumerate(_TABLE):
            setattr(self, name, ctypes.CFUNCTYPE(result, *parameters)(words[slot]))


class Run:
    """From Initialize to terminate(), or the end of a with statement."""

    def __init__(self, slots):
        self._slots = slots

    def terminate(self):
        """Sends what it can; returns within the terminate time, 10 seconds by default."""
        slots, self._slots = self._slots, None
        if slots is not None:
            slots.Terminate()

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.terminate()


class Library(_Reporter):
    """The loaded library. Make its settings before run(); see the slots marked "Setting"."""

    def __init__(self, path):
        """Loads the DLL from a full path. Raises OSError if it cannot be loaded."""
        module = ctypes.CDLL(path)
        loader = getattr(module, _LOADER)
        loader.restype = c_void_p
        loader.argtypes = (c_int32,)
        table = loader(_INTERFACE_VERSION)
        if table is None:
            raise OSError("%s does not serve interface version %d" % (path, _INTERFACE_VERSION))
        self._slots = _Slots(table)
        self._sinks = []  # callable until the process ends

    @classmethod
    def beside_program(cls):
        """Loads tav.dll from the folder of the program or, in a script, from that of the script."""
        program = sys.executable if getattr(sys, "frozen", False) else sys.argv[0]
        return cls(os.path.join(os.path.dirname(os.path.abspath(program)), "tav.dll"))

    def run(self, product, version, full_version="", language=LANGUAGE_NONE):
        """Initialize. Raises Refused."""
        status = self._slots.Initialize(_text(product), _text(version), _text(full_version), language)
        if status != OK:
            raise Refused(status)
        return Run(self._slots)

    def session_begin(self):
        return Session(self._slots, self._slots.SessionBegin())

    def component(self, name, version):
        handle = self._slots.CreateComponentAnalytics()
        if handle is None:
            raise RuntimeError("the library does not run")
        return Component(self._slots, handle, name, version)

    def new_map_value(self):
        return Value(self._slots, self._slots.NewMapValue())

    def new_list_value(self):
        return Value(self._slots, self._slots.NewListValue())

    def add_product_info(self, key, value):
        if _is_number(value):
            self._slots.AddNumericProductInfo(_text(key), value)
        else:
            self._slots.AddProductInfo(_text(key), _text(value))

    def add_product_info_value(self, key, value):
        self._slots.AddProductInfoValue(_text(key), value._consume())

    def add_session_env_info(self, key, value):
        if _is_number(value):
            self._slots.AddNumericSessionEnvInfo(_text(key), value)
        else:
            self._slots.AddSessionEnvInfo(_text(key), _text(value))

    def get_endpoint_identifier(self):
        buffer = create_string_buffer(64)
        self._slots.GetEndpointIdentifier(buffer, len(buffer))
        return buffer.value.decode("utf-8")

    def get_version(self):
        return self._slots.GetVersion().decode("utf-8")

    def pull_data(self):
        """The oldest record as base64 text, or None."""
        data = self._slots.PullData()
        if data is None:
            return None
        try:
            return ctypes.string_at(data).decode("ascii")
        finally:
            self._slots.FreeData(data)

    def set_message_sink(self, function):
        """Calls function(line) for each line of the log, without its time stamp; None removes it."""
        self._slots.SetMessageSink(self._sink(function))

    def set_line_sink(self, function):
        """As set_message_sink, with time stamps, for one run."""
        self._slots.SetLineSink(self._sink(function))

    def _sink(self, function):
        if function is None:
            return None
        self._sinks.append(_SINK(lambda line: function(line.decode("utf-8", "replace"))))
        return ctypes.cast(self._sinks[-1], c_void_p)


def _add_plain_slots():
    """Methods for the slots that take only texts and numbers: set_cache_size for SetCacheSize."""

    def method(slot, parameters):
        def call(self, *arguments):
            converted = (_text(value) if kind is c_char_p else value
                         for kind, value in zip(parameters, arguments))
            if len(arguments) != len(parameters):
                raise TypeError("%s takes %d arguments" % (slot, len(parameters)))
            return getattr(self._slots, slot)(*converted)

        return call

    for slot, result, parameters in _TABLE:
        name = "".join("_" + c.lower() if c.isupper() else c for c in slot).lstrip("_")
        is_plain = not any(kind in (c_void_p, c_size_t) for kind in (result, *parameters))
        if slot.startswith("Session") or slot in ("Initialize", "NoOperation"):
            continue
        if is_plain and not hasattr(Library, name):
            setattr(Library, name, method(slot, parameters))


_add_plain_slots()
