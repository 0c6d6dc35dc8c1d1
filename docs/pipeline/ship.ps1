<#
.SYNOPSIS
Sends the segments that `varnel collect` has closed to Kafka with kcat, the oldest first, and moves each one with its receipt to the
folder "shipped" below.
.DESCRIPTION
Does what the script "ship" does; its comments give the reasons. The status is 0 if nothing is left to send, 1 if a segment could
not be sent completely: it stays, and the next run sends all of it again.
.EXAMPLE
ship.ps1 -Folder D:\Segments -Brokers kafka-1:9092,kafka-2:9092 -Topic varnel-events -Options '-F','C:\kcat.conf'
#>
param(
    [Parameter(Mandatory = $true)][string]$Folder,
    [Parameter(Mandatory = $true)][string[]]$Brokers,
    [Parameter(Mandatory = $true)][string]$Topic,
    [string]$Kcat = 'kcat.exe',
    [string[]]$Options = @()
)
Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'
$latin1 = [Text.Encoding]::GetEncoding(28591)
$identifier = New-Object Text.RegularExpressions.Regex (
    '^\{(?:"@timestamp":"[^"]*",)?"ecs":\{[^}]*\},"event":\{(?:"[a-z]+":(?:"(?:[^"\\]|\\.)*"|-?[0-9]+),)*"id":"((?:[^"\\]|\\.)*)"')

# Writes each line with its key. A pipeline of PowerShell would change the line ends, and with them the bytes of the messages.
function Write-Segment([string]$Path, [IO.Stream]$Stream) {
    foreach ($line in [IO.File]::ReadLines($Path, $latin1)) {
        $match = $identifier.Match($line)
        $text = if ($match.Success) { $match.Groups[1].Value + "`t" + $line + "`n" } else { $line + "`n" }
        $bytes = $latin1.GetBytes($text)
        $Stream.Write($bytes, 0, $bytes.Length)
    }
}

# Returns how many lines of the segment the brokers have acknowledged.
function Send-Segment([string]$Path) {
    $words = @('-P', '-b', ($Brokers -join ','), '-t', $Topic, '-K', '\t', '-vv', '-X', 'acks=all', '-X', 'enable.idempotence=true',
        '-X', 'message.timeout.ms=60000') + $Options
    $start = New-Object Diagnostics.ProcessStartInfo
    $start.FileName = $Kcat
    $start.Arguments = ($words | ForEach-Object { '"' + $_ + '"' }) -join ' '
    $start.UseShellExecute = $false
    $start.RedirectStandardInput = $true
    $start.RedirectStandardError = $true
    $process = [Diagnostics.Process]::Start($start)
    $reports = $process.StandardError.ReadToEndAsync()
    try {
        Write-Segment $Path $process.StandardInput.BaseStream
        $process.StandardInput.Close()
    } catch [IO.IOException] {
        # kcat has ended, or the segment cannot be read: the number of deliveries shows it.
        [Console]::Error.WriteLine("ship: ${Path}: $($_.Exception.Message)")
        if (-not $process.HasExited) { $process.Kill() }
    }
    $process.WaitForExit()
    $lines = $reports.Result -split "`r?`n"
    $lines -notmatch '^(% Message delivered to |% Enable message offset reporting |% Setting producer input buffer|$)' |
        Select-Object -Unique | ForEach-Object { [Console]::Error.WriteLine($_) }
    return @($lines -match '^% Message delivered to ').Count
}

$shipped = Join-Path $Folder 'shipped'
[void](New-Item -ItemType Directory -Force $shipped)
foreach ($segment in Get-ChildItem -LiteralPath $Folder -Filter '*.jsonl' -File | Sort-Object Name) {
    $receipt = [IO.Path]::ChangeExtension($segment.FullName, '.json')
    $taken = Test-Path -LiteralPath (Join-Path $shipped ($segment.BaseName + '.json'))
    if ((Test-Path -LiteralPath (Join-Path $shipped $segment.Name)) -or ($taken -and (Test-Path -LiteralPath $receipt))) {
        [Console]::Error.WriteLine("ship: $shipped already has another $($segment.BaseName); move it to another folder")
        exit 1
    }
    $lines = [Linq.Enumerable]::Count([IO.File]::ReadLines($segment.FullName, $latin1))
    $delivered = Send-Segment $segment.FullName
    if ($delivered -ne $lines) {
        [Console]::Error.WriteLine("ship: $($segment.FullName): $delivered of $lines lines delivered; it stays to be sent again")
        exit 1
    }
    # The receipt goes first: if this is interrupted between the two, the segment is sent again and then follows it.
    if (Test-Path -LiteralPath $receipt) { Move-Item -LiteralPath $receipt -Destination $shipped }
    Move-Item -LiteralPath $segment.FullName -Destination $shipped
    "$($segment.Name): $lines lines"
}
