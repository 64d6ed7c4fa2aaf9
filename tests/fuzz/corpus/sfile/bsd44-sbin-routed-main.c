h59454
s 00005/00005/00320
d D 8.1 93/06/05 11:14:02 bostic 40 39
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00001/00001/00324
d D 5.25 92/10/09 16:41:49 sklower 39 38
c fix from forys@utah.edu
e
s 00008/00000/00317
d D 5.24 92/02/19 17:03:06 sklower 38 37
c use kinfo to survey interface list, and use routing socket instead of
c old ioctls
e
s 00002/00002/00315
d D 5.23 91/07/01 00:20:04 bostic 37 36
c FNDELAY -> O_NONBLOCK
e
s 00003/00003/00314
d D 5.22 91/02/28 18:08:01 bostic 36 35
c ANSI
e
s 00002/00017/00315
d D 5.21 90/06/29 20:05:20 karels 35 34
c use daemon() call
e
s 00001/00011/00331
d D 5.20 90/06/01 16:29:29 bostic 34 33
c new copyright notice
e
s 00007/00006/00335
d D 5.19 90/04/12 18:09:43 karels 33 32
c work around vax optimizer bug producing version 0 queries
e
s 00002/00001/00339
d D 5.18 89/05/11 14:11:43 bostic 32 31
c file reorg, pathnames.h, paths.h
e
s 00009/00005/00331
d D 5.17 89/02/20 17:21:22 karels 31 30
c don't use same buffer for input and output, as that leads to race
e
s 00150/00047/00186
d D 5.16 89/02/18 11:28:30 karels 30 29
c working with dynamic updates, auto-loading timer; tracing additions and fixes
e
s 00010/00000/00223
d D 5.15 88/06/27 20:31:36 karels 29 28
c #ifdef's for sun and other out-of-date systems
e
s 00010/00005/00213
d D 5.14 88/06/18 13:56:33 bostic 28 27
c install approved copyright notice
e
s 00019/00007/00199
d D 5.13 88/05/31 11:52:55 karels 27 26
c new tracing
e
s 00011/00005/00195
d D 5.12 88/02/16 18:50:53 bostic 26 25
c add Berkeley specific headers
e
s 00005/00004/00195
d D 5.11 87/05/28 11:26:09 karels 25 24
c rework interface metrics to invert perspective; other misc. fixes
e
s 00000/00000/00199
d D 5.10 87/04/20 12:21:16 karels 24 23
x 22
c put back LOG_UPTO; it's not obsolete, there's no replacement!
c (and logmask takes a MASK!)
e
s 00004/00001/00195
d D 5.9 87/04/20 11:55:14 karels 23 22
c reorder startup so static routes to subnets work right;
c 
e
s 00003/00003/00193
d D 5.8 86/11/24 18:36:19 eric 22 21
c drop LOG_UPTO -- obsolete interface
e
s 00000/00001/00196
d D 5.7 86/04/20 23:34:16 karels 21 20
c changes to allow subnets to remain local, propogate net route
c where subnets don't go, and allow external routes from /etc/gateways
c to block routed from installing routes from elsewhere
e
s 00008/00001/00189
d D 5.6 86/02/23 19:34:13 karels 20 19
c don't rely on AF_MAX (comes from kernel include): check for nil explicitly,
c use our own idea of table size.  Use syslog to (optionally) log bad packets.
c Don't respond to routing inquiries from a router unless we are suppliers
c (really want to respondto everything but broadcasts, but haven't got
c the "to" address.)
e
s 00001/00001/00189
d D 5.5 86/01/06 14:12:04 mckusick 19 18
c check for error on socket()
e
s 00006/00013/00184
d D 5.4 85/11/21 19:55:42 karels 18 17
c don't bother waiting if socket, bind fail
e
s 00001/00001/00196
d D 5.3 85/09/17 18:49:30 eric 17 16
c facilities in syslog
e
s 00004/00005/00193
d D 5.2 85/09/16 17:31:30 sklower 16 15
c call to socket had one too many args, other small fixups.
e
s 00013/00001/00185
d D 5.1 85/06/04 16:36:13 dist 15 14
c Add copyright
e
s 00005/00008/00181
d D 4.13 85/06/03 09:50:36 karels 14 13
c new subnets
e
s 00000/00021/00189
d D 4.12 85/02/25 13:46:47 karels 13 12
c remove 4.1a compat
e
s 00014/00003/00196
d D 4.11 84/12/20 18:04:04 karels 12 10
c syslog for interface transitions; broadcast all unreachable before exit
e
s 00004/00000/00199
d R 4.11 84/08/29 15:06:34 karels 11 10
c add SO_BROADCAST option on socket
e
s 00013/00001/00186
d D 4.10 84/04/10 21:40:08 karels 10 9
c subnet routing
e
s 00002/00000/00185
d D 4.9 84/04/09 15:05:18 karels 9 8
c many cleanups; avoid interface timing out; put it back asap
e
s 00003/00001/00182
d D 4.8 83/07/01 23:59:45 sam 8 7
c include fix
e
s 00005/00004/00178
d D 4.7 83/06/12 02:46:21 sam 7 6
c new signals
e
s 00000/00002/00182
d D 4.6 83/06/01 16:26:49 sam 6 5
c notyet has come
e
s 00007/00002/00177
d D 4.5 83/05/25 17:50:50 sam 5 4
c protocol change; byte swap those fields which need it;  also add 
c a version stamp to allow future changes
e
s 00006/00002/00173
d D 4.4 83/01/31 14:49:19 sam 4 3
c don't close sockets when divorcing tty
e
s 00026/00018/00149
d D 4.3 83/01/31 14:18:35 sam 3 2
c add stdout tracing of all packets
e
s 00063/00045/00104
d D 4.2 83/01/11 14:38:19 sam 2 1
c 4.1c conversion contortions
e
s 00149/00000/00000
d D 4.1 82/11/02 22:28:04 sam 1 0
c date and time created 82/11/02 22:28:04 by sam
e
u
U
t
T
I 15
