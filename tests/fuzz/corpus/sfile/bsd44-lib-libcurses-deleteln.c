h38207
s 00003/00002/00053
d D 8.2 94/05/04 06:24:38 bostic 25 24
c upgrade some includes, make curses.h local
c helps out nvi, but it's cleaner regardless
e
s 00002/00002/00053
d D 8.1 93/06/04 16:47:46 bostic 24 23
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00001/00001/00054
d D 5.17 93/05/16 15:54:38 bostic 23 22
c change __TRACE to __CTRACE, so it doesn't collide with nvi
e
s 00003/00002/00052
d D 5.16 93/02/18 16:18:39 elan 22 21
c bcopy -> memcpy.  Probably more portable.
e
s 00001/00001/00053
d D 5.15 93/01/11 11:53:45 bostic 21 20
c CURSES_{OK,ERR} -> OK,ERR
e
s 00001/00001/00053
d D 5.14 92/12/30 14:54:58 elan 20 19
c Changed ERR to CURSES_ERR and OK to CURSES_OK.
e
s 00002/00002/00052
d D 5.13 92/10/27 14:37:59 elan 19 18
c Changed touchline to __touchline so that touchline forces repaint 
c of line whereas the internal __touchline does not.
e
s 00006/00005/00048
d D 5.12 92/10/26 12:46:41 elan 18 17
c Changed to new line data structures (__LDATA and __LINE) and 
c eliminated linked list representation of window (not useful).
e
s 00003/00001/00050
d D 5.11 92/10/20 10:45:17 elan 17 16
c Changes standout character representation so that characters are 
c eight bit clean.
e
s 00001/00000/00050
d D 5.10 92/10/01 15:04:20 elan 16 15
c turn off __ISPASTEOL.
e
s 00001/00000/00049
d D 5.9 92/09/21 15:22:43 elan 15 14
c Added __ISPASEOL support
e
s 00017/00014/00032
d D 5.8 92/09/14 11:00:25 elan 14 13
c Converted to new data structures.
e
s 00002/00001/00044
d D 5.7 92/08/23 14:38:32 bostic 13 12
c lint
e
s 00002/00003/00043
d D 5.6 92/08/23 10:45:19 bostic 12 11
c use library routine to set the line to spaces
e
s 00014/00016/00032
d D 5.5 92/08/23 10:44:15 bostic 11 9
c KNF
e
s 00012/00014/00034
d R 5.5 92/05/15 15:19:30 bostic 10 9
c reformat to KNF, redo tracing interface, new version for vi
e
s 00001/00011/00047
d D 5.4 90/06/01 15:38:17 bostic 9 8
c new copyright notice
e
s 00010/00005/00048
d D 5.3 88/06/30 17:21:30 bostic 8 7
c install approved copyright notice
e
s 00010/00004/00043
d D 5.2 88/06/08 13:57:01 bostic 7 6
c written by Ken Arnold; add Berkeley specific header
e
s 00010/00001/00037
d D 5.1 85/06/07 11:29:32 dist 6 5
c Add copyright
e
s 00020/00007/00018
d D 1.5 85/05/01 16:58:59 bloom 5 4
c new version from arnold
e
s 00001/00001/00024
d D 1.4 81/05/11 17:32:30 arnold 4 3
c fix an off-by-one error
e
s 00001/00001/00024
d D 1.3 81/04/16 23:28:32 arnold 3 2
c fix stupid bugs so they WORK!
e
s 00000/00001/00025
d D 1.2 81/03/05 19:15:39 arnold 2 1
c eliminate unnecessary return
e
s 00026/00000/00000
d D 1.1 81/01/26 17:02:49 arnold 1 0
c date and time created 81/01/26 17:02:49 by arnold
e
u
U
t
T
I 6
