h53527
s 00001/00000/01238
d D 8.11 95/05/03 23:27:46 mckusick 83 82
c initialize clean flag to 1
e
s 00049/00013/01189
d D 8.10 95/05/03 23:24:10 mckusick 82 81
c more precise calculation of inodes per group (from FreeBSD)
e
s 00003/00003/01199
d D 8.9 95/05/01 23:48:26 mckusick 81 80
c dinode changes
e
s 00009/00009/01193
d D 8.8 95/04/28 10:45:58 bostic 80 79
c prettiness police; From: Charles Hannum <mycroft@NetBSD.ORG>
e
s 00001/00001/01201
d D 8.7 94/11/30 11:01:04 mckusick 79 78
c lint
e
s 00005/00005/01197
d D 8.6 94/08/14 16:43:21 mckusick 78 77
c cg_link => cg_firstfield; fs_link => fs_firstfield
e
s 00001/00001/01201
d D 8.5 94/07/24 23:26:10 mckusick 77 76
c don't spill superblock numbers for big disks
e
s 00002/00001/01200
d D 8.4 94/07/24 23:13:26 mckusick 76 75
c only clear clustersfree when in use (from cgd)
e
s 00069/00039/01132
d D 8.3 94/02/03 04:02:34 mckusick 75 74
c add support for building cluster maps
e
s 00003/00003/01168
d D 8.2 93/09/23 19:37:04 bostic 74 73
c changes for 4.4BSD-Lite requested by USL
e
s 00002/00002/01169
d D 8.1 93/06/05 11:06:17 bostic 73 72
c 4.4BSD snapshot (revision 8.1); add 1993 to copyright
e
s 00040/00007/01131
d D 6.30 93/05/05 17:00:36 mckusick 72 71
c add -O flag to build old format filesystems;
c set default minfree to 5%; 
c set default maxcontig to MINPHYS / bsize
e
s 00003/00003/01135
d D 6.29 93/02/15 10:44:10 ralph 71 70
c use SEEK_SET define for lseek.
e
s 00006/00002/01132
d D 6.28 93/01/23 12:33:14 bostic 70 69
c realloc is used in the C library, so it has to work here, too
e
s 00012/00009/01122
d D 6.27 92/07/02 17:46:11 mckusick 69 68
c build filesystems with new format inodes
e
s 00003/00003/01128
d D 6.26 92/06/18 19:01:53 bostic 68 67
c on-disk inode is now a timespec
e
s 00014/00017/01117
d D 6.25 92/06/04 23:09:50 mckusick 67 66
c calculate the maximum possible file size; lint
e
s 00001/00001/01133
d D 6.24 92/06/01 23:46:57 mckusick 66 65
c have to cast off_t to int
e
s 00003/00003/01131
d D 6.23 92/05/27 23:53:14 mckusick 65 64
c dinode times are now timevals
e
s 00004/00002/01130
d D 6.22 92/03/19 09:00:40 bostic 64 63
c report size in MB, not million bytes
e
s 00005/00005/01127
d D 6.21 92/03/15 22:36:19 bostic 63 62
c include system include files first
e
s 00009/00012/01123
d D 6.20 91/12/19 12:56:04 mckusick 62 61
c update for quad support
e
s 00003/00004/01132
d D 6.19 91/11/04 22:22:53 bostic 61 60
c break FFS into UFS/FFS/LFS
e
s 00007/00005/01129
d D 6.18 91/07/03 15:25:00 mckusick 60 59
c avoid using utime as a global (to avoid loader bug)
e
s 00001/00000/01133
d D 6.17 91/03/04 10:40:08 bostic 59 58
c ANSI
e
s 00002/00001/01131
d D 6.16 91/02/26 15:40:24 bostic 58 57
c ANSI fixes
e
s 00008/00001/01124
d D 6.15 90/06/29 19:45:44 karels 57 56
c dissociate from old session, tty
e
s 00001/00011/01124
d D 6.14 90/06/01 16:18:48 bostic 56 55
c new copyright notice
e
s 00029/00032/01106
d D 6.13 89/10/24 19:18:13 mckusick 55 54
c eliminate vnode.h and inode.h; just use dinode.h
e
s 00013/00013/01125
d D 6.12 89/10/18 11:09:31 mckusick 54 53
c memfs => mfs; add -F flag to pass in mount flags
e
s 00185/00040/00953
d D 6.11 89/09/06 11:18:12 mckusick 53 52
c add memory based filesystem; generate unique exit codes;
c check for filesystems that are too small
e
s 00005/00003/00988
d D 6.10 89/07/01 10:21:05 mckusick 52 51
c new header file locations
e
s 00001/00001/00990
d D 6.9 88/07/08 16:28:54 mckusick 51 50
c 4.3BSD-tahoe/etc/6 (from Chris Torek <chris@gyre.umd.edu>)
e
s 00001/00001/00990
d D 6.8 88/06/01 18:27:50 bostic 50 49
c new _doprnt doesn't support %[A-Z]
e
s 00169/00118/00822
d D 6.7 88/05/01 23:34:19 mckusick 49 48
c change cylinder group format to contain dynamic arrays
e
s 00001/00001/00939
d D 6.6 88/04/24 15:11:20 bostic 48 47
c fix for ANSI C; isblock didn't always return a value
e
s 00002/00008/00938
d D 6.5 87/10/01 12:45:30 mckusick 47 46
c add remainder of tunable parameters (-a, -d, -e); 
c rename old -a to -x, old -d to -u so above can have same values as `tunefs'
e
s 00155/00067/00791
d D 6.4 87/09/10 00:39:44 mckusick 46 45
c reduce cpg to insure that requested bytes per inode are available
e
s 00006/00004/00852
d D 6.3 87/03/29 15:58:07 karels 45 44
c update for new label ioctls, get bbsize/sbsize from label;
c tahoe hacks to use DEV_BSIZE
e
s 00025/00015/00831
d D 6.2 87/01/13 19:33:27 mckusick 44 43
c add trackskew, interleave, npsect, headswitch, and trackseek
c use first three to more completely calculate rotational position
e
s 00092/00224/00754
d D 6.1 87/01/13 12:32:23 mckusick 43 42
c merge mkfs and newfs; add support for disk labels
e
s 00017/00002/00961
d D 5.3 85/09/11 23:21:00 mckusick 42 41
c allow specification of optimization preference
e
s 00001/00002/00962
d D 5.2 85/07/05 14:02:20 mckusick 41 40
c roundup directory sizes
e
s 00014/00002/00950
d D 5.1 85/05/28 14:32:11 dist 40 39
c Add copyright
e
s 00000/00000/00952
d D 2.19 85/04/02 08:50:19 bloom 39 38
x 38
c Some people should look in the dictionary
e
s 00001/00001/00951
d D 2.18 85/03/24 17:08:20 mckusick 38 37
c spelling error in error message
e
s 00001/00001/00951
d D 2.17 85/03/24 11:08:55 bloom 37 36
c fix spelling error
e
s 00027/00010/00925
d D 2.16 84/08/16 11:30:31 mckusick 36 35
c add -N flag to print out stats on file system without creating it
e
s 00002/00002/00933
d D 2.15 83/08/01 18:45:45 mckusick 35 34
c fix calculation of initial block counts
e
s 00002/00002/00933
d D 2.14 83/07/04 17:40:53 mckusick 34 33
c change default rotational delay to 4ms
e
s 00003/00007/00932
d D 2.13 83/07/02 00:04:17 sam 33 32
c include fiox
e
s 00002/00000/00937
d D 2.12 83/05/25 16:18:48 mckusick 32 31
c add calculation of i_blocks
e
s 00012/00004/00925
d D 2.11 83/05/13 18:56:15 mckusick 31 30
c add optional nbpi to specify "number of bytes per inode" 
e
s 00005/00001/00924
d D 2.10 83/05/06 19:21:33 mckusick 30 29
c make sure that the whole file system is writable!
e
s 00001/00003/00924
d D 2.9 83/03/10 18:52:54 sam 29 28
c with all apologies ....
e
s 00019/00003/00908
d D 2.8 83/02/15 15:55:58 sam 28 27
c add rps and minfree arguments
e
s 00014/00012/00897
d D 2.7 83/01/02 15:19:34 mckusick 27 26
c add new and useful constants
e
s 00001/00001/00908
d D 2.6 82/10/03 18:07:09 mckusick 26 25
c fix bug which failed to create first super block back-up
e
s 00070/00002/00839
d D 2.5 82/09/25 23:49:09 mckusick 25 24
c add initialization comments; init for maxcontig and maxbpg
e
s 00014/00000/00827
d D 2.4 82/09/10 00:08:10 mckusick 24 23
c add ifdef STANDALONE for printf and bcopy
e
s 00009/00004/00818
d D 2.3 82/09/10 00:04:45 mckusick 23 22
c force clearing of unused portions of block maps
e
s 00093/00034/00729
d D 2.2 82/04/11 17:21:15 mckusick 22 21
c float the super block, reclaim redundant boot block space
e
s 00006/00000/00757
d D 2.1 82/04/08 15:45:30 mckusick 21 20
c merge into the new kernel
e
s 00001/00001/00756
d D 1.20 82/03/25 02:30:38 mckusick 20 19
c update to the current system
e
s 00020/00014/00737
d D 1.19 82/02/25 14:47:42 mckusic 19 18
c use speed-up macros in fs.h
e
s 00052/00012/00699
d D 1.18 82/02/21 16:18:58 mckusic 18 17
c conversion to flexable length directory names
e
s 00009/00002/00702
d D 1.17 82/01/23 16:58:29 mckusic 17 16
c make default fail only based on bsize
e
s 00010/00005/00694
d D 1.16 82/01/13 18:32:38 mckusic 16 15
c force cylinder groups to have a multiple of bsize blocks
e
s 00016/00016/00683
d D 1.15 82/01/12 22:20:32 mckusic 15 14
c change all macros taking "fs" to have it as their first argument
e
s 00005/00001/00694
d D 1.14 82/01/12 19:34:02 mckusic 14 13
c add cg_ctot to summarize cg_b
e
s 00086/00059/00609
d D 1.13 82/01/10 18:23:59 mckusic 13 12
c fix rotational layout code to work with disks with nsect % bsize != 0
e
s 00016/00006/00652
d D 1.12 82/01/06 23:32:50 mckusic 12 11
c incorporate fs.h -r1.10, and param.h -r1.8 reorganization
e
s 00283/00513/00375
d D 1.11 82/01/06 21:11:06 mckusic 11 10
c get rid of proto, allocate lost+found, reserve inode 1
c incorperate fs.h -r1.10, and param.h -r1.8
e
s 00260/00132/00628
d D 1.10 82/01/05 01:32:12 mckusic 10 9
c parameterize BSIZE, FSIZE, and FRAG into fs_bsize, fs_fsize, and fs_frag
e
s 00028/00023/00732
d D 1.9 81/11/07 19:59:20 mckusic 9 8
c edit to incorperate -r1.6 reorganization of fs.h
e
s 00010/00000/00745
d D 1.8 81/10/29 00:36:30 mckusic 8 7
c put in optimal rotational block allocation
e
s 00008/00006/00737
d D 1.7 81/10/05 20:45:46 mckusic 7 6
c maintaining and using cg_frsum to do intelligent allocation of FRAGs
e
s 00021/00016/00722
d D 1.6 81/09/22 17:45:55 mckusic 6 5
c allow files and directories to have FRAGS as their final block
e
s 00002/00002/00736
d D 1.5 81/09/19 16:25:47 mckusic 5 4
c initial BSIZE only file system
e
s 00001/00000/00737
d D 1.4 81/08/29 14:43:45 mckusic 4 3
c add cg_irotor initialization
e
s 00000/00004/00737
d D 1.3 81/08/28 22:46:45 mckusic 3 2
c move bit op macros to param.h
e
s 00027/00075/00714
d D 1.2 81/08/28 21:21:47 mckusic 2 1
c put in new inode structure
e
s 00789/00000/00000
d D 1.1 81/08/26 23:47:31 mckusick 1 0
c date and time created 81/08/26 23:47:31 by mckusick
e
u
U
t
T
I 40
