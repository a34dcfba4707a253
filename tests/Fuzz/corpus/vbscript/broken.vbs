Sub S(a) _

End Sub
x = "unterminated
