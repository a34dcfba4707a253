' The identity of the host's own RapidIO device: its device and vendor IDs and the capability
' registers (CARs) at the bottom of its configuration space.
'
'   norvanta-cli --server ADDR macro run identity.vbs ShowHostIdentity
Option Explicit

' The host's own device: local port 0, destination ID FFFFFFFFh, hop count 0.
Const HOST_DEST = 4294967295

Function HexText(value, digits)
    HexText = Right(String(digits, "0") & Hex(value), digits)
End Function

Sub ShowHostIdentity()
    Dim norvanta, ids, cars, names, i
    Set norvanta = CreateObject("Norvanta.Automation")
    names = Array("Device Identity CAR", "Device Information CAR", "Assembly Identity CAR", _
                  "Assembly Information CAR", "Processing Element Features CAR", _
                  "Switch Port Information CAR", "Source Operations CAR", "Destination Operations CAR")
    ids = norvanta.GetDeviceAndVendor(0, HOST_DEST, 0)
    WScript.Echo "Host device: device 0x" & HexText(ids(0), 4) & " vendor 0x" & HexText(ids(1), 4)
    ' Eight words from offset 0, one apart (stride 4 bytes).
    cars = norvanta.MaintRead(0, HOST_DEST, 0, 0, UBound(names) + 1, 4)
    For i = 0 To UBound(cars)
        WScript.Echo names(i) & " (0x" & HexText(i * 4, 2) & "): 0x" & HexText(cars(i), 8)
    Next
End Sub
