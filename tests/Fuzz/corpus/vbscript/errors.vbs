On Error Resume Next
v = Host.Read()
x = v(0) \ 0
Host.Fail 1, v
WScript.Echo Err.Number, Err.Description
Err.Raise 5
Select Case Err.Number
 Case 1, 2 To 4, Is > 4
  y = Hex(-1) & Oct(8)
 Case Else
End Select
