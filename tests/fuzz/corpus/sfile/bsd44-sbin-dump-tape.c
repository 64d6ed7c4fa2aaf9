h56196
s 00001/00001/00832
d D 8.4 95/05/01 23:40:21 mckusick 44 43
c changes for new dinode definitions
e
s 00002/00002/00831
d D 8.3 95/04/28 10:29:26 bostic 43 42
c prettiness police; From: Charles Hannum <mycroft@NetBSD.ORG>
e
s 00003/00000/00830
d D 8.2 94/03/17 05:36:38 bostic 42 41
c When rdump aborts, it doesn't always properly close a remote tape.
c Consider an example: remote tape error.  tperror() gets called.
c If the user decides to punt the dump, it's aborted, and the
c remote is never properly closed.
c From: "Chris G. Demetriou" <cgd@sun-lamp.cs.berkeley.edu>
e
s 00002/00002/00828
d D 8.1 93/06/05 10:52:57 bostic 41 40
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00004/00001/00826
d D 5.27 93/05/11 12:29:41 mckusick 40 39
c lint
e
s 00036/00037/00791
d D 5.26 93/01/25 15:36:05 mckusick 39 38
c cleanups from leres@lbl
e
s 00016/00012/00812
d D 5.25 92/07/16 12:40:00 bostic 38 37
c fix the prototypes, minor cleanup to signal handlers
e
s 00004/00002/00820
d D 5.24 92/07/02 16:20:16 mckusick 37 35
c writerec notes whether a record is a spcl record
e
s 00070/00000/00822
d D 5.23.1.1 92/06/18 14:29:25 mckusick 36 35
c debugging for slave processes
e
s 00047/00113/00775
d D 5.23 92/06/18 14:27:13 mckusick 35 33
c lint, fix for truncated output to pipes
e
s 00127/00447/00441
d R 5.23 92/05/26 10:05:31 mckusick 34 33
c back out -r5.19 to working flock based code
e
s 00003/00002/00885
d D 5.22 91/11/10 13:05:08 bostic 33 32
c break UFS up into FFS/UFS/LFS/MFS
e
s 00007/00001/00880
d D 5.21 91/07/26 17:05:32 mckusick 32 31
c minor update from romig to make sunos happy
e
s 00010/00000/00871
d D 5.20 91/07/23 21:06:31 mckusick 31 30
c temporarily add ifdef sunos (includes) to assist Steve Romig in debugging
e
s 00448/00126/00423
d D 5.19 91/07/23 21:05:38 mckusick 30 29
c put in EOT handling; merge dump and rdump;
c have slaves communicate using signals rather than flock
e
s 00034/00020/00515
d D 5.18 91/04/24 15:01:07 karels 29 28
c fix changes from last time: blockswritten isn't per volume (as the error msg
c said); more info on errors
e
s 00005/00004/00530
d D 5.17 91/03/07 17:49:56 mckusick 28 27
c verified to be free of AT&T code
e
s 00020/00003/00514
d D 5.16 91/03/07 11:37:26 karels 27 26
c prespecify multiple tape volumes
e
s 00020/00004/00497
d D 5.15 91/02/28 19:33:54 bostic 26 25
c ANSI; break #includes out of dump.h into separate files
e
s 00025/00035/00476
d D 5.14 91/02/28 18:51:38 mckusick 25 24
c KNF, misc naming cleanups
e
s 00011/00010/00500
d D 5.13 91/02/24 14:03:34 mckusick 24 23
c updates from Mike to make messages more media independent;
c add 'B' flag to specify number of blocks per volume
e
s 00055/00044/00455
d D 5.12 91/02/23 16:15:02 torek 23 22
c avoid multiply and divide when possible; fix gcc warnings;
c perror => strerror; quit via new quit() function
e
s 00005/00003/00494
d D 5.11 91/02/03 01:47:13 torek 22 21
c rewind => trewind (for ANSI C)
e
s 00003/00002/00494
d D 5.10 89/09/15 20:51:22 bostic 21 20
c POSIX signals
e
s 00006/00002/00490
d D 5.9 89/09/12 17:32:02 mckusick 20 19
c use pathnames.h; more explicit error message
e
s 00001/00001/00491
d D 5.8 87/02/23 18:06:28 mckusick 19 18
c convert SBLOCK to SBOFF; generalize dev_bsize
e
s 00002/00000/00490
d D 5.7 87/01/28 19:03:09 mckusick 18 17
c backward compatibility
e
s 00012/00003/00478
d D 5.6 86/10/21 15:52:03 mckusick 17 16
c new TS_TAPE header indicates the number of tape blocks to skip
c (in the c_count field) to find the first valid header on the volume
e
s 00001/00001/00480
d D 5.5 86/05/23 11:27:40 mckusick 16 15
c add newline to message
e
s 00019/00009/00462
d D 5.4 86/03/05 19:49:45 mckusick 15 14
c make lockfile generate a more senible error message
e
s 00105/00124/00366
d D 5.3 85/10/16 20:31:02 mckusick 14 13
c latest update from Don Speck
e
s 00160/00148/00330
d D 5.2 85/08/05 18:58:44 mckusick 13 12
c use flock instead of pipes to syncronize the slaves (from speck@cit-vlsi)
e
s 00008/00002/00470
d D 5.1 85/06/05 08:47:11 dist 12 11
c Add copyright
e
s 00038/00013/00434
d D 1.11 85/05/07 18:49:42 mckusick 11 10
c more fully check return values to isolate ring errors
e
s 00024/00002/00423
d D 1.10 85/05/04 16:44:34 mckusick 10 9
c must batch up reads from pipes
e
s 00249/00119/00176
d D 1.9 85/02/19 16:05:12 mckusick 9 8
c streaming dump mods using a ring of pipes (Caltech via speck@cit-vax)
e
s 00004/00003/00291
d D 1.8 84/12/16 17:57:17 sam 8 7
c replace copy loop with block copy
e
s 00017/00002/00277
d D 1.7 83/05/08 19:11:07 mckusick 7 6
c add ability to dump to standard output
e
s 00028/00008/00251
d D 1.6 83/02/11 12:58:39 sam 6 5
c merge from sun
e
s 00012/00011/00247
d D 1.5 82/01/05 01:37:27 mckusic 5 4
c parameterize BSIZE, FSIZE, and FRAG into fs_bsize, fs_fsize, and fs_frag
e
s 00022/00028/00236
d D 1.4 81/11/07 14:53:17 mckusic 4 3
c dump to "standard" (ie 1K file system) dump tapes
e
s 00006/00003/00258
d D 1.3 81/03/11 18:52:17 wnj 3 2
c dont wait for rewind a fixed length of time;;; use reopen until succeed
e
s 00003/00031/00258
d D 1.2 80/12/18 00:52:52 wnj 2 1
c dump moans about ``Mount next tape'' unnecessarily; dump is rude
e
s 00289/00000/00000
d D 1.1 80/10/13 17:30:30 root 1 0
c date and time created 80/10/13 17:30:30 by root
e
u
U
f b 
t
T
I 12
