h03180
s 00002/00002/00476
d D 8.4 94/04/02 10:01:23 pendry 97 96
c add 1994 copyright
e
s 00022/00016/00456
d D 8.3 94/04/02 09:59:57 pendry 96 94
c prettyness police
e
s 00022/00016/00456
d R 8.3 94/04/02 09:58:35 pendry 95 94
c prettyness police
e
s 00002/00002/00470
d D 8.2 93/09/23 19:08:48 bostic 94 93
c changes for 4.4BSD-Lite requested by USL
e
s 00005/00005/00467
d D 8.1 93/05/31 15:05:55 bostic 93 92
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00028/00055/00444
d D 5.51 93/04/29 13:18:12 bostic 92 91
c use err/warn from C library; lots of minor cleanup, lint
e
s 00001/00002/00498
d D 5.50 93/04/28 14:17:41 bostic 91 90
c delete trs from -v format, it's not available in the new VM
e
s 00005/00005/00495
d D 5.49 93/03/31 16:04:31 mckusick 90 89
c convert kinfo to sysctl
e
s 00000/00001/00500
d D 5.48 92/07/02 21:35:12 torek 89 88
c err must not be static, it is used in keyword.c and print.c
e
s 00039/00038/00462
d D 5.47 92/06/05 18:56:55 bostic 88 87
c ANSI prototypes (two real bugs)
e
s 00005/00003/00495
d D 5.46 92/05/12 15:44:50 marc 87 86
c -w weirdness fixed
e
s 00070/00044/00428
d D 5.45 92/04/03 14:55:42 mckusick 86 85
c update from Steve McCanne for Sun compatible kvm
e
s 00007/00000/00465
d D 5.44 92/01/27 12:24:18 bostic 85 84
c don't let users create their own symbol table for the running kernel
e
s 00003/00002/00462
d D 5.43 91/07/01 17:54:25 marc 84 83
c don't alloacte user structure if it can't be had
e
s 00005/00000/00459
d D 5.42 91/06/03 17:26:25 bostic 83 81
c the format string gets modified by parsefmt -- don't use it twice
e
s 00008/00008/00451
d R 5.42 91/06/03 17:19:23 bostic 82 81
c formats can be text space, have to copy them anyway
c vtail doesn't need to be global
e
s 00035/00036/00424
d D 5.41 91/06/03 16:55:41 bostic 81 80
c fix err routine, make everyone use it; minor ANSI cleanups
e
s 00024/00009/00436
d D 5.40 91/04/23 19:08:38 bostic 80 79
c add -M, -N, -W for consistency with other stat programs
e
s 00002/00002/00443
d D 5.39 91/04/08 14:49:14 bostic 79 78
c keywords got lost somewhere
e
s 00010/00008/00435
d D 5.38 91/03/27 15:49:38 marc 78 77
c its \not/ an error to specify a keyword twice
e
s 00015/00000/00428
d D 5.37 91/03/27 15:04:09 karels 77 76
c new vm
e
s 00015/00015/00413
d D 5.36 91/02/25 08:33:13 bostic 76 75
c strings may no longer be writable (thanks, ANSI!)
e
s 00001/00001/00427
d D 5.35 91/02/12 16:08:04 bostic 75 74
c forgot to remove 's' from getopt call
e
s 00002/00007/00426
d D 5.34 91/02/12 16:05:59 bostic 74 73
c delete "rusage" alias; delete -s option; change "trs" to "trss"
c two bugs: sortby needed to be initalized, typo in an error message
e
s 00001/00001/00432
d D 5.33 91/02/08 18:02:03 bostic 73 72
c drop "tt" keyword from -v output so fits on 80 column screen
e
s 00007/00007/00426
d D 5.32 91/02/08 17:50:58 bostic 72 71
c don't use aliases in descriptions, make -O same order as default
e
s 00150/00941/00283
d D 5.31 91/02/08 11:16:57 bostic 71 70
c Put print/keyword routines into separate modules; delete attime.c, use
c strftime(3) instead; put combination keywords into main keyword list,
c sort, delete aliases, and use bsearch(3); don't fail if nlist fails or
c devices aren't found.  Whack the manual page for consistency, correctness.
e
s 00003/00009/01221
d D 5.30 91/02/07 10:44:53 marc 70 69
c remove umask
e
s 00203/00243/01027
d D 5.29 90/08/30 11:54:58 marc 69 68
c fixes from chris
e
s 00000/00002/01270
d D 5.28 90/06/26 10:54:51 marc 68 67
c fix botch
e
s 00026/00028/01243
d D 5.27 90/06/26 10:49:55 marc 67 66
c new copyright, remove cursig, "s" state means session leader,
c EPROC_CTTY set in eproc if ctty vnode active, other minor fixups
e
s 00003/00002/01269
d D 5.26 90/06/06 10:03:12 bostic 66 65
c HP300 fixes from Mike Hibler
e
s 00024/00007/01247
d D 5.25 90/05/04 15:31:59 marc 65 64
c display cputime to two decimal places; provide dummy -g flag
e
s 00002/00001/01252
d D 5.24 90/04/20 12:50:05 marc 64 63
c kinfo now returns tty even for procs w/no ctty -- have to check
c SCTTY flag w/o -x option
e
s 00003/00003/01250
d D 5.23 90/04/18 13:31:30 marc 63 62
c use value S_IFCHR or S_IFBLK for specifying type of device
e
s 00044/00041/01209
d D 5.22 90/04/18 13:29:42 marc 62 61
c alter some names, remove flags on-l, add more symbolic flags for STAT
e
s 00990/01563/00260
d D 5.21 90/04/02 18:24:23 marc 61 60
c new version
e
s 00090/00022/01733
d D 5.20 90/03/01 17:36:57 marc 60 59
c checkpoint before trashing this version
e
s 00072/00052/01683
d D 5.19 89/11/20 23:46:30 mckusick 59 58
c get rid of unused nlist name; inode => vnode; reorder nlist entries
e
s 00011/00004/01724
d D 5.18 89/05/29 14:54:25 mckusick 58 57
c eliminate floating point from the kernel (from forys@cs.utah.edu)
e
s 00020/00016/01708
d D 5.17 89/05/29 14:24:25 bostic 57 56
c file reorg, pathnames.h paths.h
e
s 00002/00002/01722
d D 5.16 89/05/29 14:20:20 marc 56 55
c minor fix in output format
e
s 00006/00006/01718
d D 5.15 88/04/13 22:33:32 karels 55 54
c try again (better format for times >99:59)
e
s 00011/00010/01713
d D 5.14 88/03/10 19:16:05 karels 54 52
c sigh, I give up making this fit on a line (need to squish flags)
e
s 00004/00004/01719
d R 5.14 88/03/10 17:31:10 karels 53 52
c "pagedaemon" is too long now
e
s 00003/00002/01720
d D 5.13 88/03/10 17:23:50 karels 52 50
c oops, don't keep state from previous process
e
s 00001/00000/01722
d R 5.13 88/03/10 17:17:45 karels 51 50
c oops, don't keep the last proc's state
e
s 00035/00030/01687
d D 5.12 88/03/10 17:02:41 karels 50 49
c leave spaces between fields, enough space for large processes
e
s 00002/00002/01715
d D 5.11 87/10/22 09:54:49 bostic 49 48
c ANSI C; sprintf now returns an int.
e
s 00003/00003/01714
d D 5.10 87/03/28 17:49:05 karels 48 47
c make -k work on tahoe
e
s 00001/00001/01716
d D 5.9 86/05/08 12:48:28 karels 47 46
c rename nch => namecache (hopefully never used!)
e
s 00005/00005/01712
d D 5.8 86/04/26 07:29:23 lepreau 46 45
c give LIM field 1 more space
e
s 00000/00000/01717
d D 5.7 86/04/20 12:46:51 mckusick 45 43
i 44
c merge of 5.4.1.1
e
s 00039/00004/01678
d D 5.4.1.1 86/04/20 12:44:39 mckusick 44 41
c move verification to front of database to prevent looping 
c (from Peter Ford via lepreau@utah-cs.arpa)
e
s 00001/00001/01681
d D 5.6 86/02/07 10:40:42 bloom 43 42
c use stdout instead of stdin for sizing window
e
s 00002/00002/01680
d D 5.5 86/01/10 03:50:27 lepreau 42 41
c make specifying just proc 0 work
e
s 00031/00086/01651
d D 5.4 85/09/07 19:48:26 bloom 41 39
c use ls style uid/name hash (from serge@arpa), delete purdue RCS log
e
s 00031/00086/01651
d R 5.4 85/09/07 18:53:59 bloom 40 39
c use ls style name hashing, remove purdue rcs logs
e
s 00408/00032/01329
d D 5.3 85/08/28 18:04:31 mckusick 39 38
c symbolic wchan's (from Charles LaBrec; crl@newton.purdue.edu)
e
s 00055/00018/01306
d D 5.2 85/07/31 19:28:21 mckusick 38 37
c dynamic allocation of tty slots; save tty hash structure (from ks@purdue)
e
s 00014/00002/01310
d D 5.1 85/06/06 10:53:43 dist 37 36
c Add copyright
e
s 00013/00012/01299
d D 4.32 85/06/05 14:32:13 karels 36 35
c sundry fixes
e
s 00010/00004/01301
d D 4.31 85/02/25 09:23:33 karels 35 34
c minor cleanups: get disk names right, avoid pty masters
e
s 00013/00002/01292
d D 4.30 85/02/23 14:48:06 bloom 34 31
c get screen width ioctl added and hold passwd file open
e
s 00013/00002/01292
d R 4.30 85/02/20 08:55:01 bloom 33 31
c get screen width ioctl added and hold passwd file open
e
s 00001/00000/01294
d R 4.30 85/01/03 11:30:55 bloom 32 31
c tty.h requires ioctl.h
e
s 00003/00003/01291
d D 4.29 84/11/15 16:26:27 sam 31 30
c check in for bloom; update device lookup routine to skip current 
c block devices (had been checking only for oldies)
e
s 00002/00002/01292
d D 4.28 84/07/25 15:54:16 bloom 30 29
c add another digit to wchan, too many processes wait on higher addresses
e
s 00192/00086/01102
d D 4.27 84/03/21 14:56:45 ralph 29 28
c add -U flag to save static info & reduce startup time.
e
s 00001/00001/01187
d D 4.26 83/09/25 13:00:21 sam 28 27
c sbrk returns -1, not 0, on failure; from lepreau@utah-cs
e
s 00001/00001/01187
d D 4.25 83/09/22 11:45:37 ralph 27 26
c memory sizes are now computed correctly
e
s 00010/00003/01178
d D 4.24 83/05/22 17:29:45 sam 26 25
c size of proc structure changed for quotas
e
s 00068/00026/01113
d D 4.23 83/05/06 21:00:19 leres 25 24
c Fix from dlw@Jade, use a hash table so that uid's bigger than 2048 work.
e
s 00006/00000/01133
d D 4.22 83/04/13 15:54:15 leres 24 23
c Modified so that "ps t" means processes at my tty.
e
s 00054/00175/01079
d D 4.21 83/02/09 14:00:22 sam 23 22
c stuff from sun and delete ss trash
e
s 00001/00001/01253
d D 4.20 82/12/24 12:40:06 sam 22 21
c pte.h moved
e
s 00005/00009/01249
d D 4.19 82/11/14 16:33:35 sam 21 20
c convert to 4.1c sys calls and directory layout
e
s 00034/00025/01224
d D 4.18 82/06/26 01:07:10 wnj 20 19
c -k works now
e
s 00072/00081/01177
d D 4.17 82/05/07 17:46:29 mckusick 19 18
c update to new fs
e
s 00020/00009/01238
d D 4.16 82/03/01 00:11:36 wnj 18 17
c merge in -k fixes with rand stuff
e
s 00001/00001/01246
d D 4.15 81/09/08 08:30:02 mark 17 16
c fixed SCCS id to use %G%, not %E%
e
s 00152/00019/01095
d D 4.14 81/09/03 12:23:19 mark 16 15
c ss command from Rand merged in (again!)
e
s 00001/00001/01113
d D 4.13 81/07/08 16:32:54 root 15 14
c restore sccs line
e
s 00006/00003/01108
d D 4.12 81/07/08 16:32:04 root 14 11
c fix bug which caused some ttys to appear to be ``mt''
e
s 00004/00001/01243
d R 4.13 81/07/02 15:31:01 bugs 13 12
c fix to ps on tty12 printing tty as ``mt''
e
s 00152/00019/01092
d R 4.12 81/05/22 00:08:14 mark 12 11
c added in Rand ss stuff
e
s 00002/00000/01109
d D 4.11 81/05/12 23:03:56 toy 11 10
c Recognize net process (3)
e
s 00002/00002/01107
d D 4.10 81/04/26 23:38:41 wnj 10 9
c lim prints as XX; print S for sequential
e
s 00014/00005/01095
d D 4.9 81/04/21 02:06:01 root 9 8
c limit memsize stuff
e
s 00037/00015/01063
d D 4.8 81/02/28 22:55:52 wnj 8 7
c changed for new system style
e
s 00008/00001/01070
d D 4.7 80/10/21 01:23:27 bill 7 6
c pad for hardware botch end-run
e
s 00001/00001/01070
d D 4.6 80/10/20 14:04:38 bill 6 5
c fixed bug where used text even though 0
e
s 00006/00001/01065
d D 4.5 80/10/19 01:59:53 bill 5 4
c S option
e
s 00085/00044/00981
d D 4.4 80/10/12 23:30:04 bill 4 3
c %cpu %mem stuff 
e
s 00037/00014/00988
d D 4.3 80/10/11 18:32:38 bill 3 2
c ps au fixes
e
s 00095/00058/00907
d D 4.2 80/10/11 14:44:22 bill 2 1
c misc bug fixes
e
s 00965/00000/00000
d D 4.1 80/10/01 17:27:49 bill 1 0
c date and time created 80/10/01 17:27:49 by bill
e
u
U
f b 
t
T
I 37
