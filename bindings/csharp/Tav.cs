// Tav for C# on 64-bit Windows: one file, to be copied into a project. .NET Framework 4.6 or later, .NET.
//
//     var tav = Tav.Library.BesideProgram();        // throws if tav.dll cannot be loaded
//     using (tav.Run("Editor", "4.2", "4.2.0.118", Tav.Constants.LANGUAGE_EN_US))
//     {
//         tav.NewEvent("DocumentOpened").Add("Format", "PDF").Add("Pages", 12).Log();
//     }
//
// A method calls the slot of the same name: tav.h describes it. docs/bindings.md has the rules for
// handles, text, threads and the log. A handle that was consumed throws ObjectDisposedException. The
// DLL is never unloaded.
using System;
using System.Collections.Generic;
using System.IO;
using System.Runtime.InteropServices;
using System.Text;

namespace Tav
{
    // begin: made from tav.h by ./run bindings
    internal static class Declared
    {
        internal const string Loader = "TavLoader";
        internal const int InterfaceVersion = 13;
    }

    public static class Constants
    {
        public const int OK = 0;
        public const int NO_SESSION_THREAD = 4;
        public const int ALREADY_INITIALIZED = 7;
        public const int BAD_PRODUCT = 8;
        public const int NO_LOCAL_APP_DATA = 10;
        public const int LANGUAGE_NONE = 0;
        public const int LANGUAGE_CS_CZ = 1;
        public const int LANGUAGE_DE_DE = 2;
        public const int LANGUAGE_EN_US = 3;
        public const int LANGUAGE_ES_ES = 4;
        public const int LANGUAGE_FR_FR = 5;
        public const int LANGUAGE_HU_HU = 6;
        public const int LANGUAGE_IT_IT = 7;
        public const int LANGUAGE_JA_JP = 8;
        public const int LANGUAGE_KO_KR = 9;
        public const int LANGUAGE_PL_PL = 10;
        public const int LANGUAGE_PT_BR = 11;
        public const int LANGUAGE_RU_RU = 12;
        public const int LANGUAGE_ZH_CN = 13;
        public const int LANGUAGE_ZH_TW = 14;
        public const int UNIT_SECONDS = 0;
        public const int UNIT_MINUTES = 1;
        public const int UNIT_HOURS = 2;
        public const int UNIT_DAYS = 3;
        public const int TAG_EDITION = 1;
        public const int TAG_COMPONENT = 2;
        public const int TAG_PACKAGE = 3;
        public const int TAG_LICENSING_MODEL = 4;
        public const int TAG_DEPLOYMENT_MODEL = 5;
        public const int TAG_USER = 6;
        public const int TAG_TEST = 7;
        public const int TAG_OTHER = 8;
        public const int MAX_NAME_BYTES = 255;
        public const uint COMPONENT_MAGIC = 3735931594;
    }

    internal sealed class Table
    {
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int InitializeFunction(byte[] @productName, byte[] @productVersion, byte[] @fullVersion, int @appLanguage);
        internal readonly InitializeFunction Initialize;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void TerminateFunction();
        internal readonly TerminateFunction Terminate;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void LogPlaceFunction(byte[] @place);
        internal readonly LogPlaceFunction LogPlace;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void LogEventFunction(IntPtr @event);
        internal readonly LogEventFunction LogEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void LogIdleFunction();
        internal readonly LogIdleFunction LogIdle;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewEventFunction(byte[] @name);
        internal readonly NewEventFunction NewEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddEventPropertyFunction(IntPtr @event, byte[] @name, byte[] @value);
        internal readonly AddEventPropertyFunction AddEventProperty;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void NoOperationFunction();
        internal readonly NoOperationFunction NoOperation;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr SessionBeginFunction();
        internal readonly SessionBeginFunction SessionBegin;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SessionEndFunction(IntPtr @session);
        internal readonly SessionEndFunction SessionEnd;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr SessionNewEventFunction(IntPtr @session, byte[] @name);
        internal readonly SessionNewEventFunction SessionNewEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SessionLogPlaceFunction(IntPtr @session, byte[] @place);
        internal readonly SessionLogPlaceFunction SessionLogPlace;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SessionLogIdleFunction(IntPtr @session);
        internal readonly SessionLogIdleFunction SessionLogIdle;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SuspendFunction();
        internal readonly SuspendFunction Suspend;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void ResumeFunction();
        internal readonly ResumeFunction Resume;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr CreateBackdoorFunction();
        internal readonly CreateBackdoorFunction CreateBackdoor;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddProductInfoFunction(byte[] @key, byte[] @value);
        internal readonly AddProductInfoFunction AddProductInfo;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddSessionEnvInfoFunction(byte[] @key, byte[] @value);
        internal readonly AddSessionEnvInfoFunction AddSessionEnvInfo;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetAuxiliaryStringFunction(byte[] @text);
        internal readonly SetAuxiliaryStringFunction SetAuxiliaryString;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void EnableDebugLogFunction();
        internal readonly EnableDebugLogFunction EnableDebugLog;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetMessageSinkFunction(IntPtr @messageSink);
        internal readonly SetMessageSinkFunction SetMessageSink;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetSendIntervalFunction(uint @amount, int @unit);
        internal readonly SetSendIntervalFunction SetSendInterval;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetCacheSizeFunction(int @megabytes);
        internal readonly SetCacheSizeFunction SetCacheSize;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetLineSinkFunction(IntPtr @lineSink);
        internal readonly SetLineSinkFunction SetLineSink;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddNumericEventPropertyFunction(IntPtr @event, byte[] @name, double @value);
        internal readonly AddNumericEventPropertyFunction AddNumericEventProperty;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddNumericProductInfoFunction(byte[] @key, double @value);
        internal readonly AddNumericProductInfoFunction AddNumericProductInfo;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddNumericSessionEnvInfoFunction(byte[] @key, double @value);
        internal readonly AddNumericSessionEnvInfoFunction AddNumericSessionEnvInfo;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetStateFlagsFunction(int @noImpliedRecords, int @internalMode);
        internal readonly SetStateFlagsFunction SetStateFlags;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int CommitFunction();
        internal readonly CommitFunction Commit;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetDebugFlagsFunction(int @enable);
        internal readonly SetDebugFlagsFunction SetDebugFlags;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddProductInfoValueFunction(byte[] @key, IntPtr @value);
        internal readonly AddProductInfoValueFunction AddProductInfoValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewMapValueFunction();
        internal readonly NewMapValueFunction NewMapValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewListValueFunction();
        internal readonly NewListValueFunction NewListValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddStringValueFunction(IntPtr @map, byte[] @name, byte[] @value);
        internal readonly AddStringValueFunction AddStringValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddNumericValueFunction(IntPtr @map, byte[] @name, double @value);
        internal readonly AddNumericValueFunction AddNumericValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddListValueFunction(IntPtr @list, byte[] @item);
        internal readonly AddListValueFunction AddListValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void GetEndpointIdentifierFunction(byte[] @buffer, UIntPtr @bufferSize);
        internal readonly GetEndpointIdentifierFunction GetEndpointIdentifier;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetVersionQualifierFunction(byte[] @qualifier);
        internal readonly SetVersionQualifierFunction SetVersionQualifier;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr GetVersionFunction();
        internal readonly GetVersionFunction GetVersion;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr PullDataFunction();
        internal readonly PullDataFunction PullData;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void PushDataFunction(byte[] @data);
        internal readonly PushDataFunction PushData;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void FreeDataFunction(IntPtr @data);
        internal readonly FreeDataFunction FreeData;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void IncrementCounterFunction(byte[] @group, byte[] @counter);
        internal readonly IncrementCounterFunction IncrementCounter;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SessionIncrementCounterFunction(IntPtr @session, byte[] @group, byte[] @counter);
        internal readonly SessionIncrementCounterFunction SessionIncrementCounter;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetCustomerIdentifierFunction(byte[] @id);
        internal readonly SetCustomerIdentifierFunction SetCustomerIdentifier;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetUserIdentifierFunction(byte[] @id);
        internal readonly SetUserIdentifierFunction SetUserIdentifier;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetProductContextFunction(byte[] @context);
        internal readonly SetProductContextFunction SetProductContext;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetProductComponentNameFunction(byte[] @name);
        internal readonly SetProductComponentNameFunction SetProductComponentName;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AggregateValueFunction(byte[] @event, byte[] @property, double @value);
        internal readonly AggregateValueFunction AggregateValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void FlushAggregatesFunction();
        internal readonly FlushAggregatesFunction FlushAggregates;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SessionAggregateValueFunction(IntPtr @session, byte[] @event, byte[] @property, double @value);
        internal readonly SessionAggregateValueFunction SessionAggregateValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SessionFlushAggregatesFunction(IntPtr @session);
        internal readonly SessionFlushAggregatesFunction SessionFlushAggregates;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetCacheDirectoryFunction(byte[] @directory);
        internal readonly SetCacheDirectoryFunction SetCacheDirectory;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr CreateComponentAnalyticsFunction();
        internal readonly CreateComponentAnalyticsFunction CreateComponentAnalytics;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void EnablePersistentIntervalFunction();
        internal readonly EnablePersistentIntervalFunction EnablePersistentInterval;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetSendThresholdFunction(int @megabytes);
        internal readonly SetSendThresholdFunction SetSendThreshold;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int GetLastServerAccessTimeFunction();
        internal readonly GetLastServerAccessTimeFunction GetLastServerAccessTime;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int GetLastActiveTimeFunction();
        internal readonly GetLastActiveTimeFunction GetLastActiveTime;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddTagFunction(int @category, byte[] @tag);
        internal readonly AddTagFunction AddTag;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void OptOutFunction();
        internal readonly OptOutFunction OptOut;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewCommandEventFunction(byte[] @command);
        internal readonly NewCommandEventFunction NewCommandEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr SessionNewCommandEventFunction(IntPtr @session, byte[] @command);
        internal readonly SessionNewCommandEventFunction SessionNewCommandEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewErrorEventFunction(byte[] @errorCode, byte[] @errorMessage);
        internal readonly NewErrorEventFunction NewErrorEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr SessionNewErrorEventFunction(IntPtr @session, byte[] @errorCode, byte[] @errorMessage);
        internal readonly SessionNewErrorEventFunction SessionNewErrorEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddTraceItemFunction(IntPtr @errorEvent, byte[] @location, byte[] @library, byte[] @meta);
        internal readonly AddTraceItemFunction AddTraceItem;

        internal Table(IntPtr address)
        {
            Initialize = Binding.Function<InitializeFunction>(address, 0);
            Terminate = Binding.Function<TerminateFunction>(address, 1);
            LogPlace = Binding.Function<LogPlaceFunction>(address, 2);
            LogEvent = Binding.Function<LogEventFunction>(address, 3);
            LogIdle = Binding.Function<LogIdleFunction>(address, 4);
            NewEvent = Binding.Function<NewEventFunction>(address, 5);
            AddEventProperty = Binding.Function<AddEventPropertyFunction>(address, 6);
            NoOperation = Binding.Function<NoOperationFunction>(address, 7);
            SessionBegin = Binding.Function<SessionBeginFunction>(address, 8);
            SessionEnd = Binding.Function<SessionEndFunction>(address, 9);
            SessionNewEvent = Binding.Function<SessionNewEventFunction>(address, 10);
            SessionLogPlace = Binding.Function<SessionLogPlaceFunction>(address, 11);
            SessionLogIdle = Binding.Function<SessionLogIdleFunction>(address, 12);
            Suspend = Binding.Function<SuspendFunction>(address, 13);
            Resume = Binding.Function<ResumeFunction>(address, 14);
            CreateBackdoor = Binding.Function<CreateBackdoorFunction>(address, 15);
            AddProductInfo = Binding.Function<AddProductInfoFunction>(address, 16);
            AddSessionEnvInfo = Binding.Function<AddSessionEnvInfoFunction>(address, 17);
            SetAuxiliaryString = Binding.Function<SetAuxiliaryStringFunction>(address, 18);
            EnableDebugLog = Binding.Function<EnableDebugLogFunction>(address, 19);
            SetMessageSink = Binding.Function<SetMessageSinkFunction>(address, 20);
            SetSendInterval = Binding.Function<SetSendIntervalFunction>(address, 21);
            SetCacheSize = Binding.Function<SetCacheSizeFunction>(address, 22);
            SetLineSink = Binding.Function<SetLineSinkFunction>(address, 23);
            AddNumericEventProperty = Binding.Function<AddNumericEventPropertyFunction>(address, 24);
            AddNumericProductInfo = Binding.Function<AddNumericProductInfoFunction>(address, 25);
            AddNumericSessionEnvInfo = Binding.Function<AddNumericSessionEnvInfoFunction>(address, 26);
            SetStateFlags = Binding.Function<SetStateFlagsFunction>(address, 27);
            Commit = Binding.Function<CommitFunction>(address, 28);
            SetDebugFlags = Binding.Function<SetDebugFlagsFunction>(address, 29);
            AddProductInfoValue = Binding.Function<AddProductInfoValueFunction>(address, 30);
            NewMapValue = Binding.Function<NewMapValueFunction>(address, 31);
            NewListValue = Binding.Function<NewListValueFunction>(address, 32);
            AddStringValue = Binding.Function<AddStringValueFunction>(address, 33);
            AddNumericValue = Binding.Function<AddNumericValueFunction>(address, 34);
            AddListValue = Binding.Function<AddListValueFunction>(address, 35);
            GetEndpointIdentifier = Binding.Function<GetEndpointIdentifierFunction>(address, 36);
            SetVersionQualifier = Binding.Function<SetVersionQualifierFunction>(address, 37);
            GetVersion = Binding.Function<GetVersionFunction>(address, 38);
            PullData = Binding.Function<PullDataFunction>(address, 39);
            PushData = Binding.Function<PushDataFunction>(address, 40);
            FreeData = Binding.Function<FreeDataFunction>(address, 41);
            IncrementCounter = Binding.Function<IncrementCounterFunction>(address, 42);
            SessionIncrementCounter = Binding.Function<SessionIncrementCounterFunction>(address, 43);
            SetCustomerIdentifier = Binding.Function<SetCustomerIdentifierFunction>(address, 44);
            SetUserIdentifier = Binding.Function<SetUserIdentifierFunction>(address, 45);
            SetProductContext = Binding.Function<SetProductContextFunction>(address, 46);
            SetProductComponentName = Binding.Function<SetProductComponentNameFunction>(address, 47);
            AggregateValue = Binding.Function<AggregateValueFunction>(address, 48);
            FlushAggregates = Binding.Function<FlushAggregatesFunction>(address, 49);
            SessionAggregateValue = Binding.Function<SessionAggregateValueFunction>(address, 50);
            SessionFlushAggregates = Binding.Function<SessionFlushAggregatesFunction>(address, 51);
            SetCacheDirectory = Binding.Function<SetCacheDirectoryFunction>(address, 52);
            CreateComponentAnalytics = Binding.Function<CreateComponentAnalyticsFunction>(address, 53);
            EnablePersistentInterval = Binding.Function<EnablePersistentIntervalFunction>(address, 54);
            SetSendThreshold = Binding.Function<SetSendThresholdFunction>(address, 55);
            GetLastServerAccessTime = Binding.Function<GetLastServerAccessTimeFunction>(address, 56);
            GetLastActiveTime = Binding.Function<GetLastActiveTimeFunction>(address, 57);
            AddTag = Binding.Function<AddTagFunction>(address, 58);
            OptOut = Binding.Function<OptOutFunction>(address, 59);
            NewCommandEvent = Binding.Function<NewCommandEventFunction>(address, 60);
            SessionNewCommandEvent = Binding.Function<SessionNewCommandEventFunction>(address, 61);
            NewErrorEvent = Binding.Function<NewErrorEventFunction>(address, 62);
            SessionNewErrorEvent = Binding.Function<SessionNewErrorEventFunction>(address, 63);
            AddTraceItem = Binding.Function<AddTraceItemFunction>(address, 64);
        }
    }

    internal sealed class ComponentRecord
    {
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate byte IsVersionSupportedFunction(IntPtr @self, int @version);
        internal readonly IsVersionSupportedFunction IsVersionSupported;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void ReleaseFunction(IntPtr @self);
        internal readonly ReleaseFunction Release;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void SetComponentFunction(IntPtr @self, byte[] @name, byte[] @version);
        internal readonly SetComponentFunction SetComponent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewEventFunction(IntPtr @self, byte[] @name);
        internal readonly NewEventFunction NewEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddEventPropertyFunction(IntPtr @self, IntPtr @event, byte[] @name, byte[] @value);
        internal readonly AddEventPropertyFunction AddEventProperty;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddNumericEventPropertyFunction(IntPtr @self, IntPtr @event, byte[] @name, double @value);
        internal readonly AddNumericEventPropertyFunction AddNumericEventProperty;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void LogEventFunction(IntPtr @self, IntPtr @event);
        internal readonly LogEventFunction LogEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr GetVersionFunction(IntPtr @self);
        internal readonly GetVersionFunction GetVersion;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void IncrementCounterFunction(IntPtr @self, byte[] @event, byte[] @property);
        internal readonly IncrementCounterFunction IncrementCounter;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AggregateValueFunction(IntPtr @self, byte[] @event, byte[] @property, double @value);
        internal readonly AggregateValueFunction AggregateValue;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewCommandEventFunction(IntPtr @self, byte[] @command);
        internal readonly NewCommandEventFunction NewCommandEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr NewErrorEventFunction(IntPtr @self, byte[] @code, byte[] @message);
        internal readonly NewErrorEventFunction NewErrorEvent;
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void AddTraceItemFunction(IntPtr @self, IntPtr @event, byte[] @location, byte[] @library, byte[] @meta);
        internal readonly AddTraceItemFunction AddTraceItem;

        internal ComponentRecord(IntPtr address)
        {
            IsVersionSupported = Binding.Function<IsVersionSupportedFunction>(address, 1);
            Release = Binding.Function<ReleaseFunction>(address, 2);
            SetComponent = Binding.Function<SetComponentFunction>(address, 3);
            NewEvent = Binding.Function<NewEventFunction>(address, 4);
            AddEventProperty = Binding.Function<AddEventPropertyFunction>(address, 5);
            AddNumericEventProperty = Binding.Function<AddNumericEventPropertyFunction>(address, 6);
            LogEvent = Binding.Function<LogEventFunction>(address, 7);
            GetVersion = Binding.Function<GetVersionFunction>(address, 8);
            IncrementCounter = Binding.Function<IncrementCounterFunction>(address, 9);
            AggregateValue = Binding.Function<AggregateValueFunction>(address, 10);
            NewCommandEvent = Binding.Function<NewCommandEventFunction>(address, 13);
            NewErrorEvent = Binding.Function<NewErrorEventFunction>(address, 14);
            AddTraceItem = Binding.Function<AddTraceItemFunction>(address, 15);
        }
    }
    // end: made from tav.h

    internal static class Binding
    {
        // The function at a position of the table or of the component record.
        internal static T Function<T>(IntPtr address, int word) where T : class
        {
            IntPtr function = Marshal.ReadIntPtr(address, word * 8);
            return (T)(object)Marshal.GetDelegateForFunctionPointer(function, typeof(T));
        }

        // Zero-terminated UTF-8.
        internal static byte[] Text(string value)
        {
            return Encoding.UTF8.GetBytes((value ?? "") + "\0");
        }

        internal static string Text(IntPtr address)
        {
            var bytes = new List<byte>();
            for (int i = 0; Marshal.ReadByte(address, i) != 0; ++i)
            {
                bytes.Add(Marshal.ReadByte(address, i));
            }
            return Encoding.UTF8.GetString(bytes.ToArray());
        }
    }

    // The status of Initialize when the library does not start; the log says why.
    public sealed class RefusedException : Exception
    {
        public int Status { get; private set; }

        internal RefusedException(int status) : base("Initialize returned status " + status)
        {
            Status = status;
        }
    }

    // Owns a handle of the library until a call consumes it.
    public abstract class Handle
    {
        internal readonly Table Slots;
        private IntPtr handle;

        internal Handle(Table slots, IntPtr handle)
        {
            Slots = slots;
            this.handle = handle;
        }

        internal IntPtr Use()
        {
            if (handle == IntPtr.Zero)
            {
                throw new ObjectDisposedException(GetType().Name, "an earlier call has used it up");
            }
            return handle;
        }

        internal IntPtr Consume()
        {
            IntPtr used = Use();
            handle = IntPtr.Zero;
            return used;
        }

        internal bool IsConsumed { get { return handle == IntPtr.Zero; } }
    }

    // An event, command or error. Log reports and consumes it. One thread at a time.
    public sealed class Event : Handle
    {
        internal Event(Table slots, IntPtr handle) : base(slots, handle) { }

        public Event Add(string name, string value)
        {
            Slots.AddEventProperty(Use(), Binding.Text(name), Binding.Text(value));
            return this;
        }

        public Event Add(string name, double value)
        {
            Slots.AddNumericEventProperty(Use(), Binding.Text(name), value);
            return this;
        }

        // Appends an item to the stack trace of an error event.
        public Event AddTraceItem(string location, string library, string meta)
        {
            Slots.AddTraceItem(Use(), Binding.Text(location), Binding.Text(library), Binding.Text(meta));
            return this;
        }

        public void Log()
        {
            Slots.LogEvent(Consume());
        }
    }

    // An explicit session; ends when it is disposed of.
    public sealed class Session : Handle, IDisposable
    {
        internal Session(Table slots, IntPtr handle) : base(slots, handle) { }

        public Event NewEvent(string name)
        {
            return new Event(Slots, Slots.SessionNewEvent(Use(), Binding.Text(name)));
        }

        public Event NewCommandEvent(string command)
        {
            return new Event(Slots, Slots.SessionNewCommandEvent(Use(), Binding.Text(command)));
        }

        public Event NewErrorEvent(string code, string message)
        {
            return new Event(
                Slots, Slots.SessionNewErrorEvent(Use(), Binding.Text(code), Binding.Text(message)));
        }

        public void LogPlace(string place)
        {
            Slots.SessionLogPlace(Use(), Binding.Text(place));
        }

        public void LogIdle()
        {
            Slots.SessionLogIdle(Use());
        }

        // Not on two threads at once for the same session. So for AggregateValue.
        public void IncrementCounter(string group, string counter)
        {
            Slots.SessionIncrementCounter(Use(), Binding.Text(group), Binding.Text(counter));
        }

        public void AggregateValue(string name, string property, double value)
        {
            Slots.SessionAggregateValue(Use(), Binding.Text(name), Binding.Text(property), value);
        }

        public void FlushAggregates()
        {
            Slots.SessionFlushAggregates(Use());
        }

        public void Dispose()
        {
            if (!IsConsumed)
            {
                Slots.SessionEnd(Consume());
            }
        }
    }

    // Reports under the name and version of one component.
    public sealed class Component : Handle, IDisposable
    {
        private readonly ComponentRecord operations;

        internal Component(Table slots, IntPtr handle, string name, string version) : base(slots, handle)
        {
            operations = new ComponentRecord(handle);
            operations.SetComponent(handle, Binding.Text(name), Binding.Text(version));
        }

        public Event NewEvent(string name)
        {
            return new Event(Slots, operations.NewEvent(Use(), Binding.Text(name)));
        }

        public Event NewCommandEvent(string command)
        {
            return new Event(Slots, operations.NewCommandEvent(Use(), Binding.Text(command)));
        }

        public Event NewErrorEvent(string code, string message)
        {
            return new Event(
                Slots, operations.NewErrorEvent(Use(), Binding.Text(code), Binding.Text(message)));
        }

        public void Dispose()
        {
            if (!IsConsumed)
            {
                operations.Release(Consume());
            }
        }
    }

    // From Initialize to Dispose, which calls Terminate.
    public sealed class RunningLibrary : IDisposable
    {
        private Table slots;

        internal RunningLibrary(Table slots)
        {
            this.slots = slots;
        }

        public void Dispose()
        {
            if (slots != null)
            {
                slots.Terminate();
                slots = null;
            }
        }
    }

    // The loaded library. Make its settings before Run.
    public sealed class Library
    {
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr LoaderFunction(int version);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate void SinkFunction(IntPtr line);

        [DllImport("kernel32", CharSet = CharSet.Unicode, SetLastError = true)]
        private static extern IntPtr LoadLibraryW(string path);

        [DllImport("kernel32", CharSet = CharSet.Ansi, SetLastError = true)]
        private static extern IntPtr GetProcAddress(IntPtr module, string name);

        private readonly Table slots;
        // Callable until the process ends.
        private static readonly List<SinkFunction> sinks = new List<SinkFunction>();

        // `loader` is the address of TavLoader in a DLL that the program has loaded by itself.
        public Library(IntPtr loader)
        {
            var load = (LoaderFunction)Marshal.GetDelegateForFunctionPointer(loader, typeof(LoaderFunction));
            IntPtr table = load(Declared.InterfaceVersion);
            if (table == IntPtr.Zero)
            {
                throw new NotSupportedException(
                    "the DLL does not serve interface version " + Declared.InterfaceVersion);
            }
            slots = new Table(table);
        }

        public static Library Load(string path)
        {
            IntPtr module = LoadLibraryW(path);
            IntPtr loader = module == IntPtr.Zero ? IntPtr.Zero : GetProcAddress(module, Declared.Loader);
            if (loader == IntPtr.Zero)
            {
                throw new DllNotFoundException(path + ": system error " + Marshal.GetLastWin32Error());
            }
            return new Library(loader);
        }

        // Loads tav.dll from the program's folder.
        public static Library BesideProgram()
        {
            return Load(Path.Combine(AppDomain.CurrentDomain.BaseDirectory, "tav.dll"));
        }

        public RunningLibrary Run(string product, string version, string fullVersion, int language)
        {
            int status = slots.Initialize(
                Binding.Text(product), Binding.Text(version), Binding.Text(fullVersion), language);
            if (status != Constants.OK)
            {
                throw new RefusedException(status);
            }
            return new RunningLibrary(slots);
        }

        public Event NewEvent(string name)
        {
            return new Event(slots, slots.NewEvent(Binding.Text(name)));
        }

        public Event NewCommandEvent(string command)
        {
            return new Event(slots, slots.NewCommandEvent(Binding.Text(command)));
        }

        public Event NewErrorEvent(string code, string message)
        {
            return new Event(slots, slots.NewErrorEvent(Binding.Text(code), Binding.Text(message)));
        }

        public void LogPlace(string place)
        {
            slots.LogPlace(Binding.Text(place));
        }

        public void LogIdle()
        {
            slots.LogIdle();
        }

        public Session SessionBegin()
        {
            return new Session(slots, slots.SessionBegin());
        }

        public Component CreateComponent(string name, string version)
        {
            IntPtr handle = slots.CreateComponentAnalytics();
            if (handle == IntPtr.Zero)
            {
                throw new InvalidOperationException("the library does not run");
            }
            return new Component(slots, handle, name, version);
        }

        public void AddProductInfo(string key, string value)
        {
            slots.AddProductInfo(Binding.Text(key), Binding.Text(value));
        }

        public void AddProductInfo(string key, double value)
        {
            slots.AddNumericProductInfo(Binding.Text(key), value);
        }

        public void AddSessionEnvInfo(string key, string value)
        {
            slots.AddSessionEnvInfo(Binding.Text(key), Binding.Text(value));
        }

        public void SetCustomerIdentifier(string id)
        {
            slots.SetCustomerIdentifier(Binding.Text(id));
        }

        public void SetUserIdentifier(string id)
        {
            slots.SetUserIdentifier(Binding.Text(id));
        }

        public void SetCacheDirectory(string directory)
        {
            slots.SetCacheDirectory(Binding.Text(directory));
        }

        public void SetSendInterval(uint amount, int unit)
        {
            slots.SetSendInterval(amount, unit);
        }

        public void AddTag(int category, string tag)
        {
            slots.AddTag(category, Binding.Text(tag));
        }

        // For a user who has opted out, before each Run.
        public void OptOut()
        {
            slots.OptOut();
        }

        public void IncrementCounter(string group, string counter)
        {
            slots.IncrementCounter(Binding.Text(group), Binding.Text(counter));
        }

        public void AggregateValue(string name, string property, double value)
        {
            slots.AggregateValue(Binding.Text(name), Binding.Text(property), value);
        }

        public void FlushAggregates()
        {
            slots.FlushAggregates();
        }

        // Waits. Whether everything was sent. Not for the thread of a user interface.
        public bool Commit()
        {
            return slots.Commit() == 0;
        }

        // Waits. Empty when the library does not run.
        public string GetEndpointIdentifier()
        {
            var buffer = new byte[64];
            slots.GetEndpointIdentifier(buffer, new UIntPtr((uint)buffer.Length));
            return Encoding.UTF8.GetString(buffer, 0, Array.IndexOf(buffer, (byte)0));
        }

        public string GetVersion()
        {
            return Binding.Text(slots.GetVersion());
        }

        // Each line of the log, on threads of the library; the function must not call the library.
        public void SetMessageSink(Action<string> sink)
        {
            SinkFunction function = line => sink(Binding.Text(line));
            sinks.Add(function);
            slots.SetMessageSink(Marshal.GetFunctionPointerForDelegate(function));
        }
    }
}
