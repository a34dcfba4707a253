' The state of the switch ports of a map: the Port n Error and Status CSR of every port of every
' switch, and clearing the errors of the first switch's ports.
'
'   norvanta-cli --server ADDR macro run portstatus.vbs ShowSwitchPorts --map MAP
'   norvanta-cli --server ADDR macro run portstatus.vbs ClearSwitchPortErrors --map MAP
Option Explicit

Const SWITCH_FLAG = 2
' Port n Error and Status CSR (RapidIO Part 6, LP-Serial register block): at 58h + 20h x n from
' the block's start. The bits of the port's state (uninitialized, OK, unavailable, write pending)
' are not errors.
Const ERR_STAT_OFFSET = &H58
Const PORT_STRIDE = &H20
Const ERROR_BITS = &HFFFFFFE4

Function HexText(value, digits)
    HexText = Right(String(digits, "0") & Hex(value), digits)
End Function

' The node numbers of the map's switches.
Function Switches()
    Dim nodes, i, found, count
    nodes = Norvanta.GetNodeList()
    ReDim found(UBound(nodes))
    count = 0
    For i = 0 To UBound(nodes)
        If (nodes(i) And SWITCH_FLAG) <> 0 Then
            found(count) = (nodes(i) \ 65536) + 1
            count = count + 1
        End If
    Next
    If count = 0 Then
        Switches = Array()
    Else
        ReDim Preserve found(count - 1)
        Switches = found
    End If
End Function

' The offset of the device's LP-Serial register block, found along the extended features chain.
Function LpSerialBlock(node, dest, hop)
    Dim ptr, words, header, id
    ptr = Norvanta.GetExtFeaturesPtr(0, dest, hop)
    Do While ptr <> 0
        words = Norvanta.MaintRead(0, dest, hop, ptr, 1, 4)
        header = words(0)
        id = header And &HFFFF&
        If id = 1 Or id = 2 Or id = 3 Or id = 9 Then
            LpSerialBlock = ptr
            Exit Function
        End If
        ptr = (header \ 65536) And &HFFFF&
    Loop
    Err.Raise vbObjectError + 1, "portstatus", "Node " & node & " has no LP-Serial register block."
End Function

Function PortCount(dest, hop)
    PortCount = (Norvanta.GetSwitchPortInfo(0, dest, hop) \ 256) And 255
End Function

Function StateText(status)
    Dim text
    text = ""
    If (status And 1) <> 0 Then text = text & ", uninitialized"
    If (status And 2) <> 0 Then text = text & ", OK"
    If (status And 8) <> 0 Then text = text & ", unavailable"
    If (status And ERROR_BITS) <> 0 Then text = text & ", errors 0x" & HexText(status And ERROR_BITS, 8)
    StateText = Mid(text, 3)
End Function

Function ShowSwitchPorts()
    Dim nodes, s, node, dest, hop, block, ports, port, offset, words, status
    nodes = Switches()
    For s = 0 To UBound(nodes)
        node = nodes(s)
        dest = Norvanta.GetDestIDForNode(node)
        hop = Norvanta.GetHopCountForNode(node)
        block = LpSerialBlock(node, dest, hop)
        ports = PortCount(dest, hop)
        WScript.Echo "Node " & node & ": destID 0x" & HexText(dest, 2) & " hop " & hop & ", " & ports & _
                     " ports, LP-Serial block at 0x" & HexText(block, 4)
        For port = 0 To ports - 1
            offset = block + ERR_STAT_OFFSET + PORT_STRIDE * port
            words = Norvanta.MaintRead(0, dest, hop, offset, 1, 4)
            status = words(0)
            WScript.Echo "  Port " & port & " (0x" & HexText(offset, 4) & "): 0x" & HexText(status, 8) & " " & _
                         StateText(status)
        Next
    Next
    ShowSwitchPorts = UBound(nodes) + 1
End Function

' Clears the errors of every port of the first switch that shows some; returns how many ports.
Function ClearSwitchPortErrors()
    Dim nodes, node, dest, hop, ids, block, port, words, status, remaining, cleared
    nodes = Switches()
    node = nodes(0)
    dest = Norvanta.GetDestIDForNode(node)
    hop = Norvanta.GetHopCountForNode(node)
    ids = Norvanta.GetDeviceAndVendor(0, dest, hop)
    block = LpSerialBlock(node, dest, hop)
    cleared = 0
    For port = 0 To PortCount(dest, hop) - 1
        words = Norvanta.MaintRead(0, dest, hop, block + ERR_STAT_OFFSET + PORT_STRIDE * port, 1, 4)
        status = words(0)
        If (status And ERROR_BITS) <> 0 Then
            ' ClearPortErrors takes the vendor and device IDs first, then the target and the port.
            remaining = Norvanta.ClearPortErrors(ids(1), ids(0), 0, dest, hop, port)
            WScript.Echo "Node " & node & " port " & port & ": errors 0x" & HexText(status And ERROR_BITS, 8) & _
                         " cleared, remaining 0x" & HexText(remaining, 8)
            cleared = cleared + 1
        End If
    Next
    ClearSwitchPortErrors = cleared
End Function
