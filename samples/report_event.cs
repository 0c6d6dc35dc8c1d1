// How a product on .NET reports events, with the declarations of interop/Varnel.cs:
//   csc report_event.cs ..\interop\Varnel.cs
using System;
using System.Runtime.InteropServices;
using Varnel;

public static class ReportEvent
{
    private static void Report()
    {
        var report = new OrbaEventInf();
        report.Initialize("EXAMPLE__1000", "ProductEvents", "Product", "Example Antivirus", "4.2.0", "Endpoint");
        report.CreateMachineElement(null, null, null);

        IEventElement detection, file;
        report.CreateEventElement("MalwareDetected", 1024, 3, DateTime.UtcNow, out detection);
        detection.SetAttributeString("Engine", "heuristics");
        detection.SetAttributeInt("Confidence", 97);
        detection.AddElementInto("File", @"C:\<setup> & ""more"".exe", out file);
        file.SetAttributeString("Action", "quarantined");

        report.Save();
        report.DeInitialize();
    }

    public static int Main()
    {
        try
        {
            Report();
        }
        catch (COMException error)
        {
            var reason = error.ErrorCode == VarnelResults.NotManaged ? "the agent is not managed" : error.Message;
            Console.Error.WriteLine("0x{0:X8}: {1}", error.ErrorCode, reason);
            return 1;
        }
        return 0;
    }
}
