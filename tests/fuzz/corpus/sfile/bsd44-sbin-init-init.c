h50566
s 00003/00003/01268
d D 8.2 95/04/28 10:39:40 bostic 65 64
c prettiness police; From: Charles Hannum <mycroft@NetBSD.ORG>
e
s 00005/00005/01266
d D 8.1 93/07/15 17:39:43 bostic 64 63
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00007/00000/01264
d D 6.24 93/07/15 17:39:22 mckusick 63 61
c do setlogin("root") to establish the single-user user
e
s 00005/00005/01259
d R 8.1 93/06/05 11:00:30 bostic 62 61
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00015/00003/01249
d D 6.23 93/06/03 15:12:09 mckusick 61 60
c final update from BSDI
e
s 00052/00034/01200
d D 6.22 93/06/02 16:38:32 mckusick 60 59
c fix clean_ttys to reparse both getty string and window string;
c add prototypes and other lint
e
s 00019/00006/01215
d D 6.21 93/06/01 23:12:45 mckusick 59 58
c pass second argument to getty; reparse getty entry on restart
e
s 00001/00001/01220
d D 6.20 93/05/30 13:50:01 mckusick 58 57
c fix prototype for pid_t
e
s 00001/00002/01220
d D 6.19 93/05/27 22:38:52 mckusick 57 56
c cannot provide extra argument to getty or it dies
e
s 00001/00001/01221
d D 6.18 93/05/26 10:15:57 bostic 56 55
c update Donn's organization for general release
e
s 00003/00002/01219
d D 6.17 93/05/24 18:24:12 mckusick 55 54
c provide both pieces of getty info, roundup wait time on getty sleep
e
s 00018/00070/01203
d D 6.16 93/05/24 18:02:18 mckusick 54 53
c bug fixes and cleanups from BSDI
e
s 00008/00007/01265
d D 6.15 93/04/28 10:42:33 bostic 53 52
c <sys/sysctl.h> now needs param.h, "struct session" used in <sys/proc.h>
e
s 00002/00001/01270
d D 6.14 93/03/09 14:00:07 mckusick 52 51
c get those types right
e
s 00001/00001/01270
d D 6.13 93/03/09 13:57:43 mckusick 51 50
c cannot put sysctl.h before types.h even if that is alphabetical!
e
s 00102/00027/01169
d D 6.12 93/03/03 15:28:57 mckusick 50 48
c add code to change the system security level
e
s 00027/00000/01196
d D 6.11.1.1 92/07/19 17:04:55 marc 49 48
c hack to allow enabling early ktracing of init
e
s 00019/00001/01177
d D 6.11 92/07/19 17:02:52 marc 48 47
c add DEBUGSHELL to prompt for shell when /bin/sh exits abnormally
e
s 00008/00008/01170
d D 6.10 92/04/10 01:29:04 torek 47 46
c fix logout on hardwired (getty) lines such as console;
c get rid of magic numbers (use sizeof(_PATH_DEV) instead)
e
s 00005/00001/01173
d D 6.9 92/03/15 14:45:58 mckusick 46 45
c proper handling on HUP (from karels@bsdi.com)
e
s 00015/00007/01159
d D 6.8 92/03/02 16:35:44 bostic 45 43
c don't let users reexec init
e
s 00039/00008/01158
d R 6.8 92/03/02 15:41:49 bostic 44 43
c don't permit multiple invocations
e
s 00006/00004/01160
d D 6.7 92/01/17 16:56:41 torek 43 42
c db library does not preserve alignment: use bcopy
c fix minor gcc warnings (plug empty loops with dummy continue)
e
s 00002/00002/01162
d D 6.6 91/11/11 11:34:45 bostic 42 41
c hash_open -> db_open, delete R_PUT flag
e
s 00006/00001/01158
d D 6.5 91/07/25 17:13:37 trent 41 40
c fixed ignoring of TERM in single user mode (added transition code)
e
s 00011/00002/01148
d D 6.4 91/07/25 15:39:59 trent 40 39
c fixed "six shells on reboot" problem
e
s 00012/00020/01138
d D 6.3 91/07/17 19:30:41 mckusick 39 38
c do not fork separate processes to log messages 
c (but do note that these things should be done by a separate process)
e
s 00182/00090/00976
d D 6.2 91/07/05 08:35:48 mckusick 38 36
c first cut at getting it working (unfortunately not suceesful)
e
s 00098/00056/01010
d R 6.2 91/07/04 14:42:23 mckusick 37 36
c check in for Kirk, going to look at the DB stuff
e
s 00934/00455/00132
d D 6.1 91/07/02 18:20:02 mckusick 36 35
c initial rewritten version from Donn Seeley
e
s 00016/00015/00571
d D 5.19 91/03/25 17:49:43 karels 35 34
c (part from william) clean up the #ifdefs in main (slightly),
c use howto from args if present on any machine, default to 0
e
s 00012/00005/00574
d D 5.18 90/06/26 10:04:12 karels 34 33
c ignore SIGTSTP, HUP in rc; open console for writing, too!; more cleanup
e
s 00023/00018/00556
d D 5.17 90/06/24 14:16:19 karels 33 32
c fix shutdown bug in last delta; revoke console so single() doesn't fail;
c attempt some cleanup of #ifdef mess
e
s 00017/00004/00557
d D 5.16 90/05/27 20:13:42 mckusick 32 31
c add hp300 support from Utah
e
s 00035/00017/00526
d D 5.15 90/05/27 20:02:45 marc 31 30
c checked in for marc by mckusick
e
s 00010/00009/00533
d D 5.14 89/04/02 14:17:12 bostic 30 29
c add pathnames.h
e
s 00001/00003/00541
d D 5.13 88/09/22 11:26:37 bostic 29 28
c use constants in utmp.h
e
s 00006/00030/00538
d D 5.12 88/09/20 15:26:43 bostic 28 27
c use logwtmp()
e
s 00006/00054/00562
d D 5.11 88/08/31 12:18:43 bostic 27 26
c use library version of rmut
e
s 00001/00000/00615
d D 5.10 88/01/10 12:27:48 bostic 26 24
c declare merge() externally; ANSI C fix
e
s 00001/00000/00615
d R 5.10 87/12/26 13:03:41 bostic 25 24
c declare merege() externally, ANSI C fix
e
s 00002/00002/00613
d D 5.9 87/04/13 17:59:43 lepreau 24 23
c trivial speedup
e
s 00005/00006/00610
d D 5.8 87/02/17 16:51:40 bostic 23 22
c check for null pointers; bug report 4.3BSD/etc/35
e
s 00005/00002/00611
d D 5.7 86/10/13 15:01:53 sam 22 21
c tahoe's first register variable is r12
e
s 00004/00002/00609
d D 5.6 86/05/26 22:12:07 karels 21 20
c consistency, use SIGTERM once then SIGKILL's, uniform logging (once)
e
s 00001/00001/00610
d D 5.5 85/09/17 19:16:55 eric 20 19
c facilities in syslog
e
s 00001/00001/00610
d D 5.4 85/08/30 09:45:45 karels 19 18
c lengthen space for getty/window commands (70->200)
e
s 00089/00038/00522
d D 5.3 85/06/08 12:20:10 bloom 18 17
c Dynamically allocate structures instead of fixed size array
c 	(from ks@purdue-ecn)
e
s 00030/00010/00530
d D 5.2 85/06/05 14:38:18 karels 17 16
c unblock signals before fork, window mgr changes from jg
e
s 00009/00002/00531
d D 5.1 85/05/28 14:24:33 dist 16 15
c add copyright
e
s 00123/00074/00410
d D 4.15 85/04/01 12:38:41 ralph 15 14
c changes to exec a command from /etc/ttys besides getty, let getty open tty.
e
s 00010/00000/00474
d D 4.14 84/12/23 17:02:27 sam 14 13
c after logout give port selectors an opportunity to detect DTR 
c transition; also after proper login reset error detection code; from brl
e
s 00021/00066/00453
d D 4.13 84/05/07 11:36:52 root 13 12
c uses new getttyent(3) routines.
e
s 00160/00152/00359
d D 4.12 83/06/12 01:39:07 sam 12 11
c ostensibly make it work with new signals; lots of reformatting done as well
e
s 00007/00000/00504
d D 4.11 83/05/22 23:57:45 sam 11 10
c utmp changed format
e
s 00025/00000/00479
d D 4.10 82/12/22 06:22:43 pugs 10 9
c sun boot arg flags
e
s 00008/00003/00471
d D 4.9 82/12/07 21:29:54 pugs 9 8
c fix error messages in dfork
e
s 00001/00001/00473
d D 4.8 82/05/12 18:04:35 sam 8 7
c lost keywords (argh)
e
s 00020/00007/00454
d D 4.7 82/05/12 18:03:15 sam 7 6
c letting console be controlling tty -- causes vhangup on conosle
e
s 00024/00000/00437
d D 4.6 82/02/26 14:05:51 root 6 5
c timeout when terminals crazy
e
s 00028/00010/00409
d D 4.5 81/04/26 23:31:16 wnj 5 4
c dont write null wtmp entries; print console message when terminals are not openable
e
s 00051/00005/00368
d D 4.4 81/02/28 22:58:26 wnj 4 3
c new shutdown style
e
s 00032/00006/00341
d D 4.3 80/10/13 19:18:16 bill 3 2
c dont hang when kill 1 and procs hung
e
s 00024/00008/00323
d D 4.2 80/10/11 23:41:42 bill 2 1
c auto reboot stuff; use getty not getty.vm
e
s 00331/00000/00000
d D 4.1 80/10/01 17:27:08 bill 1 0
c date and time created 80/10/01 17:27:08 by bill
e
u
U
f b 
t
T
I 16
