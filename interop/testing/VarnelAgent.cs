// The Agent of varnel/testing.hpp for tests in C#: compile it with interop/Varnel.cs, and put varnel_agent.dll
// beside the tests, which samples/CMakeLists.txt builds from varnel_agent.cpp.
//
//   using (var agent = new Agent(@"C:\Varnel\bin\varnel.dll"))
//   {
//       ReportDetection(agent.CreateReport());   // the code under test, which calls Save
//       string report = agent.TakeReports()[0];
//   }
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;

namespace Varnel.Testing
{
    public enum Fault
    {
        DiskFull,
        AccessDenied,
        NoMemory,
        MutexHeld,
    }

    // A managed agent of its own; docs/testing.md has what its methods do. A method that fails throws
    // InvalidOperationException, whose message says why and what to do.
    public sealed class Agent : IDisposable
    {
        private IntPtr agent;

        public Agent(string dll)
        {
            agent = Native.VarnelAgentCreate(dll);
            Check(agent != IntPtr.Zero);
        }

        // Release the reports before: a report that remains finds an unmanaged agent.
        public void Dispose()
        {
            Native.VarnelAgentDestroy(agent);
            agent = IntPtr.Zero;
        }

        // Returns a new report object of the library that sees this agent.
        public OrbaEventInf CreateReport()
        {
            object report;
            Check(Native.VarnelAgentCreateReport(Alive, out report));
            return (OrbaEventInf)report;
        }

        // Return the reports, as XML, and the log lines since the last call.
        public List<string> TakeReports()
        {
            return TakeAll(Native.VarnelAgentTakeReport);
        }

        public List<string> TakeLog()
        {
            return TakeAll(Native.VarnelAgentTakeLogLine);
        }

        public void KeepReports(string folder)
        {
            Check(Native.VarnelAgentKeepReports(Alive, folder));
        }

        // The names of settings are those of docs/settings.md.
        public void SetNumber(string name, uint number)
        {
            Check(Native.VarnelAgentSetNumber(Alive, name, number));
        }

        public void SetText(string name, string text)
        {
            Check(Native.VarnelAgentSetText(Alive, name, text));
        }

        public void RemoveSetting(string name)
        {
            Check(Native.VarnelAgentRemoveSetting(Alive, name));
        }

        public void DisableEvent(int id)
        {
            Check(Native.VarnelAgentDisableEvent(Alive, id));
        }

        public void EnableEvents()
        {
            Check(Native.VarnelAgentEnableEvents(Alive));
        }

        public void RemoveFolder()
        {
            Check(Native.VarnelAgentRemoveFolder(Alive));
        }

        public void RestoreFolder()
        {
            Check(Native.VarnelAgentRestoreFolder(Alive));
        }

        // At the n-th call from now, or at all calls.
        public void Fail(Fault fault, uint atCall = 0)
        {
            Check(Native.VarnelAgentFail(Alive, fault, atCall));
        }

        public void Recover()
        {
            Check(Native.VarnelAgentRecover(Alive));
        }

        public uint Failures(Fault fault)
        {
            return Native.VarnelAgentFailures(Alive, fault);
        }

        public bool AwaitBlockedSave(uint milliseconds)
        {
            return Native.VarnelAgentAwaitBlockedSave(Alive, milliseconds);
        }

        private IntPtr Alive
        {
            get
            {
                if (agent == IntPtr.Zero)
                    throw new ObjectDisposedException("Agent");
                return agent;
            }
        }

        private static void Check(bool succeeded)
        {
            if (!succeeded)
                throw new InvalidOperationException(Error());
        }

        private static string Error()
        {
            return Marshal.PtrToStringUni(Native.VarnelAgentError());
        }

        private List<string> TakeAll(Func<IntPtr, IntPtr> take)
        {
            var texts = new List<string>();
            for (var text = take(Alive); text != IntPtr.Zero; text = take(Alive))
                texts.Add(Marshal.PtrToStringUni(text));
            Check(Error().Length == 0);
            return texts;
        }

        private static class Native
        {
            private const string Dll = "varnel_agent.dll";
            private const CallingConvention Cdecl = CallingConvention.Cdecl;
            private const CharSet Wide = CharSet.Unicode;

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern IntPtr VarnelAgentError();

            [DllImport(Dll, CallingConvention = Cdecl, CharSet = Wide)]
            internal static extern IntPtr VarnelAgentCreate(string dll);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern void VarnelAgentDestroy(IntPtr agent);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentCreateReport(IntPtr agent,
                [MarshalAs(UnmanagedType.IUnknown)] out object report);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern IntPtr VarnelAgentTakeReport(IntPtr agent);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern IntPtr VarnelAgentTakeLogLine(IntPtr agent);

            [DllImport(Dll, CallingConvention = Cdecl, CharSet = Wide)]
            internal static extern bool VarnelAgentKeepReports(IntPtr agent, string folder);

            [DllImport(Dll, CallingConvention = Cdecl, CharSet = Wide)]
            internal static extern bool VarnelAgentSetNumber(IntPtr agent, string name, uint number);

            [DllImport(Dll, CallingConvention = Cdecl, CharSet = Wide)]
            internal static extern bool VarnelAgentSetText(IntPtr agent, string name, string text);

            [DllImport(Dll, CallingConvention = Cdecl, CharSet = Wide)]
            internal static extern bool VarnelAgentRemoveSetting(IntPtr agent, string name);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentDisableEvent(IntPtr agent, int id);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentEnableEvents(IntPtr agent);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentRemoveFolder(IntPtr agent);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentRestoreFolder(IntPtr agent);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentFail(IntPtr agent, Fault fault, uint atCall);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentRecover(IntPtr agent);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern uint VarnelAgentFailures(IntPtr agent, Fault fault);

            [DllImport(Dll, CallingConvention = Cdecl)]
            internal static extern bool VarnelAgentAwaitBlockedSave(IntPtr agent, uint milliseconds);
        }
    }
}
