h03015
s 00002/00002/00034
d D 8.1 93/06/04 15:41:12 bostic 10 9
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00001/00011/00035
d D 5.6 90/06/01 14:54:19 bostic 9 8
c new copyright notice
e
s 00013/00008/00033
d D 5.5 88/06/27 17:25:22 bostic 8 7
c install approved copyright notice
e
s 00011/00005/00030
d D 5.4 88/05/25 17:14:14 bostic 7 6
c written by Kirk McKusick and Sam Leffler; add Berkeley specific header
e
s 00002/00002/00033
d D 5.3 86/03/09 21:14:46 donn 6 5
c added LIBC_SCCS condition for sccs ids
e
s 00001/00001/00034
d D 5.2 85/06/05 19:00:48 mckusick 5 4
c Fix copyright
e
s 00009/00001/00026
d D 5.1 85/05/30 15:17:01 dist 4 3
c Add copyright
e
s 00003/00002/00024
d D 4.3 84/11/07 12:24:03 mckusick 3 2
c return proper value; fix bug in >65535 byte copies
e
s 00002/00003/00024
d D 4.2 84/11/01 23:52:11 sam 2 1
c change ENTRY & ASENTRY to allow setting the register save mask
e
s 00027/00000/00000
d D 4.1 84/11/01 23:19:41 sam 1 0
c date and time created 84/11/01 23:19:41 by sam
e
u
U
t
T
I 1
