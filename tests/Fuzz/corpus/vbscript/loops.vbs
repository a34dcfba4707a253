For i = 1 To 10 Step 2
  Do While i < 5 : i = i + 1 : Loop
Next
While False
Wend
ReDim Preserve z(2, 3)
For Each e In Split("a,b", ",") : s = s & e : Next
