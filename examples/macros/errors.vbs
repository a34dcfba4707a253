' Handling the automation object's failures: with On Error Resume Next a failed call sets Err to
' the failure's code and text and the macro goes on; GetLastError and GetLastErrorString give the
' last failure afterwards, and a call that succeeds doesn't clear them.
'
'   norvanta-cli --server ADDR macro run errors.vbs ErrorHandling
Option Explicit

Sub Report(what)
    If Err.Number <> 0 Then
        WScript.Echo what & " failed: error " & Err.Number & ": " & Err.Description
        Err.Clear
    Else
        WScript.Echo what & " succeeded"
    End If
End Sub

Function ErrorHandling()
    Dim version
    On Error Resume Next
    ' A refused argument: priorities are 0, 1 or 2.
    Norvanta.SetMaintReadPriority 7
    Report "SetMaintReadPriority(7)"
    ' Node numbers begin at 1.
    Norvanta.GetDestIDForNode 0
    Report "GetDestIDForNode(0)"
    ' A call that succeeds leaves the last error as it was.
    version = Norvanta.GetVersionString()
    Report "GetVersionString()"
    On Error GoTo 0
    WScript.Echo "Last error: " & Norvanta.GetLastError() & ": " & Norvanta.GetLastErrorString()
    ErrorHandling = Norvanta.GetLastError()
End Function
