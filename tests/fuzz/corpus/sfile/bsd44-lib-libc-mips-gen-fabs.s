h48083
s 00028/00000/00000
d D 8.1 94/02/16 12:23:22 bostic 1 0
c date and time created 94/02/16 12:23:22 by bostic
e
u
U
t
T
I 1
