x = ((((1 + 2) * 3) ^ 2 Mod 7) \ 2) = 4 And Not True Or 1 Xor 2 Eqv 3 Imp 4
y = -2 ^ -1 & "x" + "1"
z = CInt("2.5") + CLng(1.5) + Len(Mid("abc", 2))
