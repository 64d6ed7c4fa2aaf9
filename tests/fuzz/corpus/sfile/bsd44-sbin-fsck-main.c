h12624
s 00024/00017/00290
d D 8.6 95/05/14 22:21:03 mckusick 113 112
c only mark root clean when it is mounted read-only
e
s 00005/00002/00302
d D 8.5 95/05/09 15:45:09 mckusick 112 111
c check and act on the clean flag
e
s 00022/00010/00282
d D 8.4 95/04/27 11:33:00 mckusick 111 110
c add function prototypes
e
s 00001/00001/00291
d D 8.3 95/03/21 00:10:44 mckusick 110 109
c daddr_t => ufs_daddr_t
e
s 00002/00002/00290
d D 8.2 94/01/23 12:25:52 bostic 109 108
c match rev 8.6 of /sys/sys/mount.h from Mike Hibler
c reorganization for generic support of export information
e
s 00005/00005/00287
d D 8.1 93/06/05 10:56:26 bostic 108 107
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00001/00001/00291
d D 5.34 93/06/04 11:42:15 bostic 107 106
c rename devname to cdevname, devname(3) now in the C library
e
s 00026/00006/00266
d D 5.33 92/12/09 18:57:26 mckusick 106 105
c canonicalize disk name when running manually;
c remount root filesystem after changes are made to avoid reboot
e
s 00012/00003/00260
d D 5.32 92/07/02 16:35:57 mckusick 105 104
c -c now takes a level; write out all superblocks after a conversion
e
s 00001/00000/00262
d D 5.31 92/05/27 22:45:24 mckusick 104 103
c add <sys/time.h> for dinode.h
e
s 00003/00002/00259
d D 5.30 92/03/23 16:52:01 mckusick 103 102
c update from Ralph Campbell to eliminate floating point
e
s 00002/00002/00259
d D 5.29 91/11/04 22:20:29 bostic 102 101
c break FFS into UFS/FFS/LFS
e
s 00001/00000/00260
d D 5.28 91/10/09 18:34:38 mckusick 101 100
c keep the data structures consistent
e
s 00004/00003/00256
d D 5.27 90/08/07 10:59:54 karels 100 99
c fix QUIT processing for preen (was broken when preen.c split out)
e
s 00026/00017/00233
d D 5.26 90/07/20 16:51:15 mckusick 99 98
c lint (from Torek)
e
s 00001/00001/00249
d D 5.25 90/06/29 09:29:27 mckusick 98 97
c lint
e
s 00001/00011/00249
d D 5.24 90/06/01 16:16:53 bostic 97 96
c new copyright notice
e
s 00001/00001/00259
d D 5.23 90/05/15 19:53:05 bostic 96 95
c string.h is ANSI C include file
e
s 00018/00020/00242
d D 5.22 90/05/05 13:03:38 mckusick 95 94
c use getopt; do not check for root filesystem when given a list of devices
e
s 00027/00274/00236
d D 5.21 90/04/26 23:44:51 mckusick 94 92
c break out overlapped disk processing to preen.c (for use in quotacheck)
e
s 00031/00274/00236
d R 5.21 90/04/26 23:42:32 mckusick 93 92
c break out overlapped disk processing to preen.c (for use in quotacheck)
e
s 00001/00003/00509
d D 5.20 90/03/09 18:01:49 mckusick 92 91
c check character device root, not the block device
e
s 00002/00000/00510
d D 5.19 90/02/08 21:39:25 mckusick 91 90
c do not try to fsck non-ufs filesystems (from borman@cray.com)
e
s 00001/00000/00509
d D 5.18 90/02/01 23:36:09 mckusick 90 89
c save block pointers of directories as they are encountered in pass1
c so that they do not have to be reread when descending in pass2
e
s 00017/00006/00492
d D 5.17 90/02/01 17:17:22 mckusick 89 88
c convert to BSD only copyright
e
s 00037/00040/00461
d D 5.16 90/02/01 16:17:31 mckusick 88 87
c lint and other aesthetic cleanups
e
s 00001/00003/00500
d D 5.15 89/10/24 19:05:23 mckusick 87 86
c no longer need to include time.h, vnode.h, and inode.h; just include dinode.h
e
s 00001/00002/00502
d D 5.14 89/09/15 20:57:49 bostic 86 85
c POSIX signals
e
s 00001/00004/00503
d D 5.13 89/07/04 09:41:22 mckusick 85 84
c get rid of redundant status check (from Torek)
e
s 00005/00003/00502
d D 5.12 89/06/26 21:41:49 mckusick 84 83
c new include file locations engendered by vnodes
e
s 00166/00073/00339
d D 5.11 89/03/19 13:21:12 karels 83 82
c check one filesystem per disk until done, ignoring pass numbers > 1
e
s 00009/00001/00403
d D 5.10 89/03/02 14:57:52 mckusick 82 81
c check for exit caused by uncaught signal
e
s 00011/00000/00393
d D 5.9 89/02/17 17:02:25 mckusick 81 80
c add -m flag to override default creation mode for lost+found
e
s 00055/00005/00338
d D 5.8 88/05/03 19:30:38 mckusick 80 79
c in preen mode, summarize file systems that must be checked manually
e
s 00004/00000/00339
d D 5.7 88/05/01 23:36:56 mckusick 79 78
c add -c flag (convert dynamic cylinder group format back to static format)
e
s 00012/00010/00327
d D 5.6 87/02/26 17:44:49 karels 78 77
c update disk labels to ioctl's; check the file the user specified!;
c don't try to check "." if a named file doesn't exist;
c don't check spare constants in superblock against alternate;
c make the "TRASHED VALUES" message understandable
e
s 00005/00004/00332
d D 5.5 86/11/24 20:58:08 mckusick 77 76
c verify that we are checking the root file system (from conrad@cgl.ucsf.edu)
c bug report 4.3BSD/etc/20
e
s 00009/00000/00327
d D 5.4 86/03/05 17:12:40 mckusick 76 75
c free dup list and zero link count entries as they are used
c reinitialize dup list head and zero link count head to empty after each fs check
e
s 00004/00002/00323
d D 5.3 85/10/24 19:24:05 mckusick 75 73
c add fragmentation statistics
e
s 00004/00002/00323
d R 5.3 85/10/23 15:03:01 mckusick 74 73
c add fragmentation statistics
e
s 00008/00002/00317
d D 5.2 85/09/10 20:14:03 karels 73 72
c allow a single sigquit to force exit(2) after completing checks
c if preening
e
s 00014/00002/00305
d D 5.1 85/06/05 08:55:35 dist 72 71
c Add copyright
e
s 00007/00000/00300
d D 3.5 85/06/02 17:40:12 mckusick 71 70
c when debug is set, list remaining duplicate blocks
e
s 00001/00001/00299
d D 3.4 85/05/31 20:08:17 mckusick 70 69
c dynamically allocate the duplicate block table
e
s 00035/00017/00265
d D 3.3 85/02/08 19:15:12 mckusick 69 68
c merge passes 5 and 6 into a single pass
e
s 00194/00000/00088
d D 3.2 85/02/07 17:51:42 mckusick 68 67
c code reorganization and cleanup
e
s 00003/02200/00085
d D 3.1 84/03/31 20:58:59 mckusick 67 66
c break up into managable pieces
e
s 00007/00008/02278
d D 2.32 84/01/23 18:32:47 mckusick 66 65
c overwrite ".." if first entry, "." if second entry in directory
e
s 00004/00003/02282
d D 2.31 84/01/23 14:56:45 mckusick 65 64
c must apply beginning of directory check at each resync point (Tom Lyons)
e
s 00005/00000/02280
d D 2.30 83/09/19 18:06:19 mckusick 64 63
c arbitrarily cut off searching around orphaned directory loops
e
s 00019/00013/02261
d D 2.29 83/09/13 18:41:36 mckusick 63 62
c lint; ask about all possible directory fixes instead of just once per directory
e
s 00014/00008/02260
d D 2.28 83/09/12 15:03:17 mckusick 62 61
c give more complete information about pathnames while linking up files
e
s 00685/00446/01583
d D 2.27 83/09/11 20:03:31 mckusick 61 60
c cleanup to get rid of global variables; robust directory checking:
c first entry is '.' and has correct inumber,
c second entry is '..' and has parent inumber,
c no additional '.' or '..' entries,
c more information about errors and consistancy checks of entries
e
s 00003/00003/02026
d D 2.26 83/07/06 22:23:36 sam 60 59
c leave sockets alone (please?)
e
s 00012/00014/02017
d D 2.25 83/07/02 23:50:07 root 59 58
c must check block root device to insure consistency
e
s 00005/00002/02026
d D 2.24 83/05/25 23:03:50 sam 58 57
c quotas
e
s 00013/00002/02015
d D 2.23 83/05/22 13:00:09 mckusick 57 56
c accounting and fix-up for i_blocks (from kre)
e
s 00005/00000/02012
d D 2.22 83/03/08 18:19:36 mckusick 56 55
c check for excessively long pathnames
e
s 00016/00006/01996
d D 2.21 83/02/24 14:30:24 mckusick 55 54
c remove any socket inodes left lying around
c attach bad blocks marked by badsect
e
s 00005/00011/01997
d D 2.20 83/01/19 13:16:43 mckusick 54 53
c zero link count table increased 50 => 500; corrupted directories now pfatal.
e
s 00001/00001/02007
d D 2.19 83/01/09 00:51:04 mckusick 53 51
c blkcpy() becomes bcopy()
e
s 00001/00001/02007
d R 2.19 83/01/09 00:39:48 mckusick 52 51
c blkcpy becomes bcopy
e
s 00001/00001/02007
d D 2.18 82/12/03 19:43:43 mckusick 51 50
c use raw, not cooked device, for root file system
e
s 00001/00030/02007
d D 2.17 82/11/15 13:05:05 mckusick 50 47
i 49 48
c merge in branch 2.11.1
e
s 00052/00022/02077
d D 2.11.1.2 82/11/14 19:40:15 mckusick 49 48
c correctly reset cylinder count in last cylinder group 
c make duplicate/bad blocks in bit maps non-fatal with -p (since can reconstruct)
c more debug info; clear out unused portions of block maps
e
s 00000/00000/02099
d D 2.11.1.1 82/11/14 19:33:18 mckusick 48 42
c branch-place-holder
e
s 00258/00232/01733
d D 2.16 82/10/13 23:29:19 root 47 46
c speedups and cleanups
e
s 00008/00063/01957
d D 2.15 82/07/31 13:01:20 root 46 45
c more routines common with kernel
e
s 00023/00027/01997
d D 2.14 82/07/31 02:14:29 root 45 44
c remove some macros
e
s 00390/00458/01634
d D 2.13 82/07/31 02:07:24 root 44 43
c split up check()
e
s 00001/00008/02091
d D 2.12 82/07/30 15:18:26 mckusick 43 42
c when preening, dup blocks in bit maps are  ok.
e
s 00003/00002/02096
d D 2.11 82/07/25 17:22:45 mckusick 42 41
c add consistency check of last entry in a directory
e
s 00017/00007/02081
d D 2.10 82/07/03 19:57:57 kre 41 40
c minor fixes (handle errs on root with -p, and always
c use pfatal/pwarn instead of printf for 1st err & know about -p)
e
s 00008/00003/02080
d D 2.9 82/06/15 13:21:33 mckusick 40 39
c force reboot after fixing the root file system
e
s 00033/00011/02050
d D 2.8 82/06/09 23:27:12 mckusick 39 38
c be more paranoid about checking unallocated blocks in inodes
e
s 00012/00012/02049
d D 2.7 82/05/17 22:47:37 mckusick 38 37
c minor cosmetic changes to directory salvage code
e
s 00061/00032/02000
d D 2.6 82/05/17 22:39:07 mckusick 37 36
c merge in fixes 4.10 to 4.15 of old fsck; fix directory salvage code
e
s 00016/00008/02016
d D 2.5 82/05/07 01:19:01 mckusick 36 35
c fix bug in reading multiple block directories
e
s 00021/00001/02003
d D 2.4 82/04/15 15:30:59 mckusick 35 34
c check for insufficient memory
e
s 00055/00043/01949
d D 2.3 82/04/11 17:21:39 mckusick 34 33
c float the super block, reclaim redundant boot block space
e
s 00021/00010/01971
d D 2.2 82/04/08 14:47:04 mckusick 33 32
c add check of super block cylinder summary information
e
s 00119/00006/01862
d D 2.1 82/04/08 11:41:11 mckusick 32 31
c merge into new kernel
e
s 00001/00001/01867
d D 1.31 82/03/30 14:13:57 mckusick 31 30
c fix bug in directory salvage code
e
s 00003/00002/01865
d D 1.30 82/03/26 23:15:43 mckusick 30 29
c use bread instead of getblk for summary info
e
s 00008/00008/01859
d D 1.29 82/03/25 02:30:54 mckusick 29 28
c update to the current system
e
s 00001/00001/01866
d D 1.28 82/03/23 12:55:29 mckusick 28 27
c compress frag tables
e
s 00002/00005/01865
d D 1.27 82/03/23 01:02:59 mckusick 27 26
c add symbolic links
e
s 00044/00010/01826
d D 1.26 82/03/17 18:28:25 mckusick 26 25
c implement rudimentary reconstruction of directories
e
s 00010/00011/01826
d D 1.25 82/02/25 14:48:00 mckusic 25 24
c use speed-up macros in fs.h
e
s 00015/00011/01822
d D 1.24 82/02/23 19:04:06 mckusic 24 23
c always allocate inodes 0 and 1 when reconstructing cyl group 0
e
s 00005/00021/01828
d D 1.23 82/02/21 16:19:21 mckusic 23 22
c conversion to flexable length directory names
e
s 00076/00051/01773
d D 1.22 82/02/17 01:08:27 mckusic 22 21
c convert to use "library" directory access routines
e
s 00004/00002/01820
d D 1.21 82/01/15 13:46:40 mckusic 21 20
c fix bug in initializing cg_free in makecg()
e
s 00006/00002/01816
d D 1.20 82/01/13 18:34:04 mckusic 20 19
c zero out cg_free for unused portion of last cylinder group
e
s 00038/00028/01780
d D 1.19 82/01/12 22:18:17 mckusic 19 18
c change all macros taking "fs" to have it as their first argument
e
s 00016/00003/01792
d D 1.18 82/01/12 19:34:19 mckusic 18 17
c add cg_ctot to summarize cg_b
e
s 00029/00021/01766
d D 1.17 82/01/10 18:24:23 mckusic 17 16
c fix rotational layout code to work with disks with nsect % bsize != 0
e
s 00006/00005/01781
d D 1.16 82/01/06 23:33:29 mckusic 16 15
c incorporate fs.h -r1.10, and param.h -r1.8 reorganization
e
s 00004/00003/01782
d D 1.15 82/01/06 21:12:08 mckusic 15 14
c skip over inode 1 when checking
e
s 00119/00083/01666
d D 1.14 82/01/05 01:32:36 mckusic 14 13
c parameterize BSIZE, FSIZE, and FRAG into fs_bsize, fs_fsize, and fs_frag
e
s 00009/00011/01740
d D 1.13 81/11/27 16:37:52 mckusic 13 12
c clean up makecg in preparation for moving it to icheck (-s)
e
s 00004/00003/01747
d D 1.12 81/11/13 16:55:06 mckusic 12 11
c must use struct ostat when statting old file system
e
s 00034/00032/01716
d D 1.11 81/11/07 19:59:31 mckusic 11 10
c edit to incorperate -r1.6 reorganization of fs.h
e
s 00012/00011/01736
d D 1.10 81/11/01 00:57:22 mckusic 10 9
c force directory updates on UNALLOCATED inodes which are removed
e
s 00010/00006/01737
d D 1.9 81/10/29 00:36:44 mckusic 9 8
c put in optimal rotational block allocation
e
s 00002/00000/01741
d D 1.8 81/10/25 17:30:28 mckusic 8 7
c move external decls for tables.o from fs.h to fsck.c
e
s 00001/00001/01740
d D 1.7 81/10/07 18:29:41 mckusic 7 6
c fix unsigned char problem to get FRAG == 8 to work
e
s 00121/00058/01620
d D 1.6 81/10/05 20:45:55 mckusic 6 5
c maintaining and using cg_frsum to do intelligent allocation of FRAGs
e
s 00024/00019/01654
d D 1.5 81/09/22 17:46:13 mckusic 5 4
c allow files and directories to have FRAGS as their final block
e
s 00001/00000/01672
d D 1.4 81/08/29 14:43:55 mckusic 4 3
c add cg_irotor initialization
e
s 00000/00004/01672
d D 1.3 81/08/28 22:47:16 mckusic 3 2
c move bit op macros to param.h
e
s 00001/00004/01675
d D 1.2 81/08/28 21:22:01 mckusic 2 1
c put in new inode structure
e
s 01679/00000/00000
d D 1.1 81/08/26 23:47:37 mckusick 1 0
c date and time created 81/08/26 23:47:37 by mckusick
e
u
U
f b 
t
T
I 72
