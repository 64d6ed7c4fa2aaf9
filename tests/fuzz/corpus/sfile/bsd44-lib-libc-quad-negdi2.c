h02048
s 00002/00002/00029
d D 8.1 93/06/04 12:57:02 bostic 6 5
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00003/00002/00028
d D 5.5 92/06/25 09:34:27 bostic 5 4
c KNF, integrate with standard include files (quad -> quad_t etc.)
e
s 00015/00063/00015
d D 5.4 92/06/02 13:35:23 bostic 4 3
c new version from Chris Torek
e
s 00024/00000/00054
d D 5.3 92/05/12 18:22:08 bostic 3 2
c Prepend the gcc-2.1 release copyright notice to all source code
e
s 00001/00001/00053
d D 5.2 92/05/12 18:17:00 bostic 2 1
c size_t is unsigned long for these routines
e
s 00054/00000/00000
d D 5.1 92/05/12 15:20:06 bostic 1 0
c put on a Berkeley copyright notice -- original didn't have a GNU
c copyright, I'll add one as soon as I find out which one to add
c date and time created 92/05/12 15:20:06 by bostic
e
u
U
t
T
I 1
