' How a script reports events: cscript //nologo report_event.vbs [SOFTWARE-ID]
' The library must be registered. Prints the failing call and quits with 1 when something goes wrong.
Option Explicit

Const SERVER_ID = "ORBASRVR_3500"
Dim softwareId, report, detection, file, update, child

softwareId = SERVER_ID
If WScript.Arguments.Count > 0 Then softwareId = WScript.Arguments(0)

On Error Resume Next
Set report = CreateObject("Varnel.OrbaEventInf")
Check "CreateObject"
report.Initialize softwareId, "ProductEvents", "Product", "Script Monitor", "4.2.0", "Endpoint"
Check "Initialize"
report.CreateMachineElement "", "", ""
Check "CreateMachineElement"

' The element comes back in the last argument.
report.CreateEventElement "MalwareDetected", 1024, 3, UtcNow(), detection
Check "CreateEventElement"
detection.SetAttributeString "Engine", "heuristics"
Check "SetAttributeString"
detection.SetAttributeInt "Confidence", 97
Check "SetAttributeInt"
detection.AddElementInto "File", "C:\<setup> & ""more"".exe", file
Check "AddElementInto"
file.SetAttributeString "Action", "quarantined"
Check "SetAttributeString"
file.AppendElement "Scan", "on access", child
Check "AppendElement"

report.CreateEventElement "SignaturesUpdated", 2401, 1, UtcNow(), update
Check "CreateEventElement"

report.Save
Check "Save"
report.DeInitialize
Check "DeInitialize"
WScript.Echo "reported"

' Times are passed in UTC, and Now is local time.
Function UtcNow()
  Dim system
  For Each system In GetObject("winmgmts:").ExecQuery("SELECT CurrentTimeZone FROM Win32_OperatingSystem")
    UtcNow = DateAdd("n", -system.CurrentTimeZone, Now)
  Next
End Function

Sub Check(step)
  If Err.Number = 0 Then Exit Sub
  WScript.Echo step & ": " & Err.Source & " " & Hex(Err.Number) & " " & Err.Description
  WScript.Quit 1
End Sub
