' An event handler for watch triggers. Bind OnWatchTrigger to the event "watch trigger" (ID 4) in
' Tools > Manage Scripts: each trigger that fires calls it with one array of 17 values, which it
' prints and writes to the transaction log.
'
' DemoWatchTrigger shows the handler at work from the command line: it changes the host's
' component tag as a watched register might change, and hands the handler what a trigger on that
' register would hand it.
'
'   norvanta-cli --server ADDR macro run watchevent.vbs DemoWatchTrigger
Option Explicit

Const HOST_DEST = 4294967295
Const COMPONENT_TAG = &H6C

Function HexText(value, digits)
    HexText = Right(String(digits, "0") & Hex(value), digits)
End Function

Sub OnWatchTrigger(args)
    Dim fields, summary, i
    ' The 17 values of a watch trigger, in order.
    fields = Array("item", "node", "destID", "register", "offset", "field", "width", "last bit", _
                   "first bit", "old value", "new value", "X1", "X2", "events", "log", "update period", _
                   "trigger type")
    summary = "Watch trigger: " & args(3) & " (0x" & HexText(args(4), 4) & ") of node " & (args(1) + 1) & _
              " changed from 0x" & HexText(args(9), 8) & " to 0x" & HexText(args(10), 8) & ", event " & args(13)
    WScript.Echo summary
    Norvanta.WriteToLog summary & vbLf
    For i = 0 To UBound(args)
        WScript.Echo "  " & fields(i) & ": " & args(i)
    Next
End Sub

Function DemoWatchTrigger()
    Dim before, after, now
    before = Norvanta.GetComponentTag(0, HOST_DEST, 0)
    after = before + 1
    ' The data of a maintenance write goes as an array of 32-bit words.
    Norvanta.MaintWrite 0, HOST_DEST, 0, COMPONENT_TAG, 1, Array(after), 4
    now = Norvanta.GetComponentTag(0, HOST_DEST, 0)
    OnWatchTrigger Array(0, 0, 255, "Component Tag CSR", COMPONENT_TAG, "<All>", 32, 31, 0, _
                         before, now, 0, 0, 1, 1, 1, 1)
    DemoWatchTrigger = now
End Function
