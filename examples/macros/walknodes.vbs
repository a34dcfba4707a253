' Every PE of a map, with the way the host reaches it and the device and vendor IDs it reports.
'
'   norvanta-cli --server ADDR macro run walknodes.vbs WalkNodes --map MAP
Option Explicit

Const SWITCH_FLAG = 2
' The host's own device. GetDestIDForNode gives the host its own ID with hop count 0, the way a
' maintenance packet with that ID would leave the host: to the host's own device it goes as
' destination FFFFFFFFh.
Const HOST_DEST = 4294967295

Function HexText(value, digits)
    HexText = Right(String(digits, "0") & Hex(value), digits)
End Function

' The PE type flags as words: bit 0 bridge, bit 1 switch, bit 2 memory, bit 3 processor.
Function TypeText(flags)
    Dim names, text, bit
    names = Array("bridge", "switch", "memory", "processor")
    text = ""
    For bit = 0 To 3
        If (flags And (2 ^ bit)) <> 0 Then
            If text <> "" Then text = text & "+"
            text = text & names(bit)
        End If
    Next
    If text = "" Then text = "none"
    TypeText = text
End Function

' Prints one line for each node and returns how many there are.
Function WalkNodes()
    Dim nodes, i, node, flags, dest, hop, ids, hostID, isHost, line
    hostID = Norvanta.GetDeviceID(0, HOST_DEST, 0)
    nodes = Norvanta.GetNodeList()
    For i = 0 To UBound(nodes)
        ' Each element is the node's index in the map (from 0) in the upper half and its type
        ' flags in the lower; people and the node methods count nodes from 1.
        node = (nodes(i) \ 65536) + 1
        flags = nodes(i) And 65535
        dest = Norvanta.GetDestIDForNode(node)
        hop = Norvanta.GetHopCountForNode(node)
        isHost = (hop = 0 And (flags And SWITCH_FLAG) = 0 And dest = hostID)
        If isHost Then
            ids = Norvanta.GetDeviceAndVendor(0, HOST_DEST, hop)
        Else
            ids = Norvanta.GetDeviceAndVendor(0, dest, hop)
        End If
        line = "Node " & node & ": destID 0x" & HexText(dest, 2) & " hop " & hop & " device 0x" & _
               HexText(ids(0), 4) & " vendor 0x" & HexText(ids(1), 4) & " " & TypeText(flags)
        If isHost Then line = line & " (host)"
        WScript.Echo line
    Next
    WalkNodes = UBound(nodes) + 1
End Function
