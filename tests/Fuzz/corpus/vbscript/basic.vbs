Option Explicit
Dim a, b(3)
Const K = &HFF
Function F(ByVal x, ByRef y)
  F = x * 2 + y
End Function
a = F(1, 2) & "s"
b(1) = Array(1, "two", 3.5)
If a = "4s" Then a = Empty Else a = Null
