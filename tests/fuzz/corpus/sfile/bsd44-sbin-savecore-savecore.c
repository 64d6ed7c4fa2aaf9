h61035
s 00002/00002/00621
d D 8.5 95/04/28 11:18:16 bostic 61 60
c prettiness police; From: Charles Hannum <mycroft@NetBSD.ORG>
e
s 00001/00001/00622
d D 8.4 95/04/24 16:01:17 mckusick 60 59
c bad getopt string
e
s 00005/00001/00618
d D 8.3 94/01/02 12:57:09 bostic 59 58
c Use lstat() when poking around in /dev.  The routine is converting a
c device number to a name (seems like there are very few cases where stat()
c is preferred over lstat()).  Exit with a nice message if dumpdev is NODEV,
c for running diskless.
c From: Craig Leres <leres@ee.lbl.gov>
e
s 00001/00001/00618
d D 8.2 93/11/24 15:12:46 hibler 58 57
c needed (dumpsize+vmunixsize) needs to be in 1k chunks not bytes
e
s 00005/00005/00614
d D 8.1 93/06/05 11:17:40 bostic 57 56
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00012/00003/00607
d D 5.38 93/05/11 13:45:25 torek 56 55
c account for size of vmunix in minfree calculations
e
s 00001/00001/00609
d D 5.37 93/02/26 14:42:45 mckusick 55 54
c reasonable mode for vmunix
e
s 00001/00001/00609
d D 5.36 92/12/11 11:35:35 bostic 54 53
c Kirk wants the crash dump mode to be 644
e
s 00003/00002/00607
d D 5.35 92/12/03 19:33:11 bostic 53 52
c less chatty, please
e
s 00007/00005/00602
d D 5.34 92/12/03 18:52:13 bostic 52 51
c change system operand to -N, minor cleanups
e
s 00352/00354/00255
d D 5.33 92/12/03 17:55:58 bostic 51 50
c add z option for compression, lots of minor stuff
e
s 00006/00002/00603
d D 5.32 92/07/15 00:32:31 bostic 50 49
c fix va_start macro usage
e
s 00003/00002/00602
d D 5.31 92/06/23 13:40:34 bostic 49 48
c my fault -- dev_t is a u_long
e
s 00102/00050/00502
d D 5.30 92/06/19 17:51:22 bostic 48 47
c don't clear the dump if out of space, plus cleanup; from Craig Leres
e
s 00007/00008/00545
d D 5.29 92/06/03 10:38:44 mckusick 47 46
c proper use of off_t in lseek
e
s 00007/00019/00546
d D 5.28 92/02/18 05:28:24 torek 46 45
c remove unnecessary machine dependencies; lint
e
s 00001/00001/00564
d D 5.27 92/01/27 11:22:11 bostic 45 44
c statfs.f_fsize =>statfs.f_bsize
e
s 00001/00002/00564
d D 5.26 91/04/08 08:27:28 bostic 44 43
c savecore can print out the message as easily as /etc/rc
e
s 00040/00031/00526
d D 5.25 91/04/07 21:45:20 bostic 43 42
c use getopt(3); make "savecore -c" work
e
s 00001/00005/00556
d D 5.24 91/02/27 17:03:34 bostic 42 40
c ANSI fixes
e
s 00001/00001/00560
d R 5.24 91/02/26 16:01:46 bostic 41 40
c ANSI fix
e
s 00004/00000/00557
d D 5.23 91/02/09 19:41:24 william 40 39
c i386 system base address (must be a better way...)
e
s 00001/00011/00556
d D 5.22 90/06/01 16:29:13 bostic 39 38
c new copyright notice
e
s 00010/00016/00557
d D 5.21 90/03/22 19:55:56 mckusick 38 37
c use statfs instead of reading superblock to get space threshold
e
s 00023/00008/00550
d D 5.20 89/12/19 10:42:36 karels 37 36
c update bounds file if write fails on vmcore
e
s 00019/00013/00539
d D 5.19 89/08/21 22:09:55 karels 36 35
c need to read dumpsize from blockdev, more cleanups
e
s 00054/00036/00498
d D 5.18 89/08/20 15:20:06 karels 35 34
c read dump from raw device, not block; minor cleanups
e
s 00003/00003/00531
d D 5.17 89/07/07 18:51:22 root 34 33
c gotta fire the idiot who didn't finish this...
e
s 00004/00004/00530
d D 5.16 89/05/11 14:01:51 bostic 33 32
c file reorg, pathnames.h, paths.h
e
s 00009/00008/00525
d D 5.15 89/04/02 15:07:00 bostic 32 31
c add pathnames.h
e
s 00017/00006/00516
d D 5.14 88/10/31 16:17:36 bostic 31 30
c written by Michael Toy; add Berkeley specific copyright notice
e
s 00002/00002/00520
d D 5.13 87/10/22 10:45:31 bostic 30 29
c ANSI C; sprintf now returns an int.
e
s 00022/00012/00500
d D 5.12 87/03/29 16:23:38 karels 29 28
c I *like* newlines on messages; add -c to clear dump magic
e
s 00001/00001/00511
d D 5.11 87/02/23 17:40:07 mckusick 28 27
c convert SBLOCK to SBOFF; generalize use of dev_bsize
e
s 00008/00003/00504
d D 5.10 87/01/08 20:32:40 karels 27 26
c do it anyway!
e
s 00043/00066/00464
d D 5.9 86/10/13 15:12:03 sam 26 25
c add tahoe stuff; consolidate common code in log+Perror
e
s 00053/00005/00477
d D 5.8 86/05/26 22:10:21 karels 25 24
c show error messages on stderr too
e
s 00004/00027/00478
d D 5.7 86/05/12 18:30:20 eric 24 23
c eliminate shutdownlog in favor of syslog
e
s 00001/00003/00504
d D 5.6 86/05/12 17:45:28 eric 23 22
c shutdownlog subsumed into syslog (as LOG_AUTH)
e
s 00120/00153/00387
d D 5.5 86/02/18 17:06:25 sam 22 21
c lots of mickey-mouse things; use syslog; compress nlist checks 
c into an array and a loop; use symbolic constants for open, lseek, access;
e
s 00014/00006/00526
d D 5.4 86/01/30 19:47:30 karels 21 20
c use larger buffer for those of us with swap and crash
c on same disk
e
s 00003/00004/00529
d D 5.3 86/01/09 14:27:35 mckusick 20 19
c better calculation of freespace
e
s 00006/00002/00527
d D 5.2 85/09/08 13:59:52 bloom 19 18
c portability cleanup, allow to work with core dumps which terminate when they
c reach the end of the partition
e
s 00014/00002/00515
d D 5.1 85/06/04 16:47:02 dist 18 17
c Add copyright
e
s 00001/00002/00516
d D 4.15 85/06/03 09:36:25 karels 17 16
c can get dumptime from specified system now
e
s 00098/00027/00420
d D 4.14 84/07/17 16:40:12 ralph 16 15
c added -v option, works correctly when given alt. system name.
e
s 00001/00001/00446
d D 4.13 83/07/02 00:19:23 sam 15 14
c include fixes
e
s 00003/00003/00444
d D 4.12 83/05/03 20:53:12 sam 14 13
c fix name conflict with kernel
e
s 00004/00004/00443
d D 4.11 83/03/21 11:25:44 sam 13 12
c read dumpsize from dump image instead of memory
e
s 00053/00084/00394
d D 4.10 83/02/21 00:28:39 sam 12 11
c merge of mods from sun now that system is changed
e
s 00001/00070/00477
d D 4.9 82/10/24 16:04:59 mckusick 11 8
i 10 9
c merge in mods from matisse
e
s 00082/00025/00370
d D 4.7.1.2 82/10/24 15:51:14 mckusick 10 9
c fixes per ark
e
s 00000/00000/00395
d D 4.7.1.1 82/10/24 15:49:21 mckusick 9 7
c branch-place-holder
e
s 00097/00027/00368
d D 4.8 82/10/21 14:21:24 sam 8 7
c new super block format, check for string termination, & lots more
e
s 00011/00004/00384
d D 4.7 81/05/20 17:47:02 root 7 6
c fix to have 3 args but kludged: should read dump* from argv[2] instead of /dev/kmem if argc > 2
e
s 00008/00003/00380
d D 4.6 81/05/20 16:40:51 root 6 5
c debug code
e
s 00002/00006/00381
d D 4.5 81/05/14 18:15:31 root 5 4
c version mismatch is a warning
e
s 00200/00283/00187
d D 4.4 81/04/28 00:45:44 root 4 3
c major cleanup
e
s 00008/00003/00462
d D 4.3 81/04/14 19:17:10 root 3 2
c make it work!
e
s 00004/00001/00461
d D 4.2 81/04/03 12:59:42 root 2 1
c fix to not double-save dumps
e
s 00462/00000/00000
d D 4.1 81/04/02 21:47:07 root 1 0
c date and time created 81/04/02 21:47:07 by root
e
u
U
f b 
t
T
I 18
