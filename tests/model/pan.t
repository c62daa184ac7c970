#ifdef PEG
struct T_SRC {
	char *fl; int ln;
} T_SRC[NTRANS];

void
tr_2_src(int m, char *file, int ln)
{	T_SRC[m].fl = file;
	T_SRC[m].ln = ln;
}

void
putpeg(int n, int m)
{	printf("%5d	trans %4d ", m, n);
	printf("%s:%d\n",
		T_SRC[n].fl, T_SRC[n].ln);
}
#endif

void
settable(void)
{	Trans *T;
	Trans *settr(int, int, int, int, int, char *, int, int, int);

	trans = (Trans ***) emalloc(6*sizeof(Trans **));

	/* proctype 4: :init: */

	trans[4] = (Trans **) emalloc(10*sizeof(Trans *));

	T = trans[ 4][8] = settr(372,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(372,2,1,0,0,"ATOMIC", 1, 2, 0);
	trans[4][1]	= settr(365,2,3,3,3,"attached[0] = 0", 1, 2, 0); /* m: 2 -> 0,3 */
	reached4[2] = 1;
	trans[4][2]	= settr(0,0,0,0,0,"attached[1] = 1",0,0,0);
	trans[4][3]	= settr(367,2,4,4,4,"(run Broadcaster())", 1, 2, 0);
	trans[4][4]	= settr(368,2,5,5,5,"(run StoreBuffer())", 1, 2, 0);
	trans[4][5]	= settr(369,2,6,6,6,"(run Receiver(0))", 1, 2, 0);
	trans[4][6]	= settr(370,2,7,7,7,"(run Receiver(2))", 1, 2, 0);
	trans[4][7]	= settr(371,0,9,8,8,"(run Hostile())", 1, 2, 0);
	trans[4][9]	= settr(373,0,0,9,9,"-end-", 0, 3500, 0);

	/* proctype 3: Hostile */

	trans[3] = (Trans **) emalloc(25*sizeof(Trans *));

	trans[3][21]	= settr(361,0,20,1,0,".(goto)", 0, 2, 0);
	T = trans[3][20] = settr(360,0,0,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(360,0,18,0,0,"DO", 0, 2, 0);
	    T->nxt	= settr(360,0,19,0,0,"DO", 0, 2, 0);
	T = trans[ 3][18] = settr(358,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(358,2,1,0,0,"ATOMIC", 1, 2, 0);
	trans[3][1]	= settr(341,2,5,10,10,"b = 0", 1, 2, 0);
	trans[3][6]	= settr(346,2,5,1,0,".(goto)", 1, 2, 0);
	T = trans[3][5] = settr(345,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(345,2,4,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(345,2,2,0,0,"DO", 1, 2, 0);
	trans[3][4]	= settr(344,2,13,1,0,"goto :b16", 1, 2, 0);
	trans[3][2]	= settr(342,2,5,11,11,"((b<(2-1)))", 1, 2, 0); /* m: 3 -> 5,0 */
	reached3[3] = 1;
	trans[3][3]	= settr(0,0,0,0,0,"b = (b+1)",0,0,0);
	trans[3][7]	= settr(347,2,13,1,0,"break", 1, 2, 0);
	T = trans[3][13] = settr(353,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(353,2,8,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(353,2,9,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(353,2,10,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(353,2,11,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(353,2,12,0,0,"IF", 1, 2, 0);
	trans[3][8]	= settr(348,0,20,12,12,"value = 0", 1, 2, 0); /* m: 15 -> 0,20 */
	reached3[15] = 1;
	trans[3][14]	= settr(354,2,15,1,0,".(goto)", 1, 2, 0); /* m: 15 -> 0,20 */
	reached3[15] = 1;
	trans[3][9]	= settr(349,0,20,13,13,"value = 1", 1, 2, 0); /* m: 15 -> 0,20 */
	reached3[15] = 1;
	trans[3][10]	= settr(350,0,20,14,14,"value = 2", 1, 2, 0); /* m: 15 -> 0,20 */
	reached3[15] = 1;
	trans[3][11]	= settr(351,0,20,15,15,"value = 3", 1, 2, 0); /* m: 15 -> 0,20 */
	reached3[15] = 1;
	trans[3][12]	= settr(352,0,20,16,16,"value = 4", 1, 2, 0); /* m: 15 -> 0,20 */
	reached3[15] = 1;
	trans[3][15]	= settr(355,0,20,17,17,"released[((1*2)+b)] = value", 1, 2, 0); /* m: 16 -> 0,20 */
	reached3[16] = 1;
	trans[3][16]	= settr(0,0,0,0,0,"b = 0",0,0,0);
	trans[3][17]	= settr(0,0,0,0,0,"value = 0",0,0,0);
	trans[3][19]	= settr(359,0,23,1,0,"goto :b15", 0, 2, 0);
	trans[3][22]	= settr(362,0,23,1,0,"break", 0, 2, 0);
	trans[3][23]	= settr(363,0,24,18,18,"gone[1] = 1", 1, 2, 0);
	trans[3][24]	= settr(364,0,0,19,19,"-end-", 0, 3500, 0);

	/* proctype 2: Receiver */

	trans[2] = (Trans **) emalloc(64*sizeof(Trans *));

	trans[2][1]	= settr(278,0,58,20,0,"(((attached[( ((me==1)) ? (1) : (0) )]==me)||over))", 1, 2, 0);
	trans[2][59]	= settr(336,0,58,1,0,".(goto)", 0, 2, 0);
	T = trans[2][58] = settr(335,0,0,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(335,0,4,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(335,0,7,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(335,0,10,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(335,0,42,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(335,0,51,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(335,0,52,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(335,0,56,0,0,"DO", 0, 2, 0);
	    T->nxt	= settr(335,0,57,0,0,"DO", 0, 2, 0);
	T = trans[ 2][4] = settr(281,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(281,2,2,0,0,"ATOMIC", 1, 503, 0);
	trans[2][2]	= settr(279,2,3,21,0,"(((expected[0]==0)&&nempty(ring[me])))", 1, 503, 0);
	trans[2][3]	= settr(280,0,58,22,22,"ring[me]?slot[0],number[0],expected[0]", 1, 503, 0);
	T = trans[ 2][7] = settr(284,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(284,2,5,0,0,"ATOMIC", 1, 503, 0);
	trans[2][5]	= settr(282,2,6,23,0,"((((expected[0]!=0)&&(expected[1]==0))&&nempty(ring[me])))", 1, 503, 0);
	trans[2][6]	= settr(283,0,58,24,24,"ring[me]?slot[1],number[1],expected[1]", 1, 503, 0);
	T = trans[ 2][10] = settr(287,2,0,0,0,"ATOMIC", 0, 2, 0);
	T->nxt	= settr(287,2,8,0,0,"ATOMIC", 0, 2, 0);
	trans[2][8]	= settr(285,2,9,25,0,"((expected[f]!=0))", 0, 2, 0);
	trans[2][9]	= settr(286,0,18,1,0,"(1)", 0, 2, 0);
	T = trans[ 2][18] = settr(295,0,0,0,0,"sub-sequence", 0, 2, 0);
	T->nxt	= settr(295,0,11,0,0,"sub-sequence", 0, 2, 0);
	trans[2][11]	= settr(288,0,12,26,26,"first = memory[((slot[f]*2)+0)]", 1, 2, 0);
	trans[2][12]	= settr(289,0,13,27,27,"second = memory[((slot[f]*2)+1)]", 1, 2, 0);
	trans[2][13]	= settr(290,0,17,28,28,"whole = (given_up[0]<(me+1))", 1, 2, 0);
/*->*/	trans[2][17]	= settr(294,32,22,29,29,"D_STEP281", 0, 2, 0);
	T = trans[2][22] = settr(299,0,0,0,0,"IF", 0, 2, 0);
	T = T->nxt	= settr(299,0,19,0,0,"IF", 0, 2, 0);
	    T->nxt	= settr(299,0,21,0,0,"IF", 0, 2, 0);
	trans[2][19]	= settr(296,0,61,30,30,"(!(whole))", 0, 2, 0);
	trans[2][20]	= settr(297,0,61,1,0,"goto :b14", 0, 2, 0);
	trans[2][23]	= settr(300,0,58,1,0,".(goto)", 0, 2, 0);
	trans[2][21]	= settr(298,0,58,2,0,"else", 0, 2, 0);
	T = trans[ 2][42] = settr(319,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(319,2,24,0,0,"ATOMIC", 1, 2, 0);
	trans[2][24]	= settr(301,2,36,31,0,"((expected[f]!=0))", 1, 2, 0);
	T = trans[ 2][36] = settr(313,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(313,0,35,0,0,"sub-sequence", 1, 2, 0);
/*->*/	trans[2][35]	= settr(312,34,37,32,32,"D_STEP288", 1, 2, 0);
	trans[2][37]	= settr(314,0,58,33,33,"old_slot = slot[f]", 1, 2, 0); /* m: 38 -> 0,58 */
	reached2[38] = 1;
	trans[2][38]	= settr(0,0,0,0,0,"old_number = number[f]",0,0,0);
	trans[2][39]	= settr(0,0,0,0,0,"slot[f] = 0",0,0,0);
	trans[2][40]	= settr(0,0,0,0,0,"number[f] = 0",0,0,0);
	trans[2][41]	= settr(0,0,0,0,0,"expected[f] = 0",0,0,0);
	T = trans[ 2][51] = settr(328,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(328,2,43,0,0,"ATOMIC", 1, 2, 0);
	trans[2][43]	= settr(320,2,47,34,0,"((old_number!=0))", 1, 2, 0);
	T = trans[2][47] = settr(324,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(324,2,44,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(324,2,46,0,0,"IF", 1, 2, 0);
	trans[2][44]	= settr(321,0,58,35,35,"((old_number>released[((me*2)+old_slot)]))", 1, 2, 0); /* m: 45 -> 58,0 */
	reached2[45] = 1;
	trans[2][45]	= settr(0,0,0,0,0,"released[((me*2)+old_slot)] = old_number",0,0,0);
	trans[2][48]	= settr(325,2,49,1,0,".(goto)", 1, 2, 0); /* m: 49 -> 0,58 */
	reached2[49] = 1;
	trans[2][46]	= settr(323,2,49,2,0,"else", 1, 2, 0);
	trans[2][49]	= settr(326,0,58,36,36,"old_slot = 0", 1, 2, 0); /* m: 50 -> 0,58 */
	reached2[50] = 1;
	trans[2][50]	= settr(0,0,0,0,0,"old_number = 0",0,0,0);
	trans[2][52]	= settr(329,0,58,37,37,"f = (1-f)", 0, 2, 0);
	T = trans[ 2][56] = settr(333,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(333,2,53,0,0,"ATOMIC", 1, 1003, 0);
	trans[2][53]	= settr(330,4,62,38,38,"((((over&&(expected[0]==0))&&(expected[1]==0))&&empty(ring[me])))", 1, 1003, 0); /* m: 54 -> 62,0 */
	reached2[54] = 1;
	trans[2][54]	= settr(0,0,0,0,0,"rests[me] = 1",0,0,0);
	trans[2][55]	= settr(332,0,62,1,0,"goto end", 1, 1003, 0);
	trans[2][57]	= settr(334,0,61,1,0,"goto :b14", 0, 2, 0);
	trans[2][60]	= settr(337,0,61,1,0,"break", 0, 2, 0);
	trans[2][61]	= settr(338,0,62,39,39,"gone[me] = 1", 1, 2, 0);
	trans[2][62]	= settr(339,0,63,1,0,"(1)", 0, 2, 0);
	trans[2][63]	= settr(340,0,0,40,40,"-end-", 0, 3500, 0);

	/* proctype 1: StoreBuffer */

	trans[1] = (Trans **) emalloc(10*sizeof(Trans *));

	trans[1][7]	= settr(275,0,6,1,0,".(goto)", 0, 2, 0);
	T = trans[1][6] = settr(274,0,0,0,0,"DO", 0, 2, 0);
	    T->nxt	= settr(274,0,5,0,0,"DO", 0, 2, 0);
	T = trans[ 1][5] = settr(273,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(273,2,1,0,0,"ATOMIC", 1, 2, 0);
	trans[1][1]	= settr(269,0,6,41,41,"((pending_index!=255))", 1, 2, 0); /* m: 2 -> 6,0 */
	reached1[2] = 1;
	trans[1][2]	= settr(0,0,0,0,0,"given_up[pending_index] = pending_id",0,0,0);
	trans[1][3]	= settr(0,0,0,0,0,"pending_index = 255",0,0,0);
	trans[1][4]	= settr(0,0,0,0,0,"pending_id = 0",0,0,0);
	trans[1][8]	= settr(276,0,9,1,0,"break", 0, 2, 0);
	trans[1][9]	= settr(277,0,0,42,42,"-end-", 0, 3500, 0);

	/* proctype 0: Broadcaster */

	trans[0] = (Trans **) emalloc(270*sizeof(Trans *));

	trans[0][267]	= settr(266,0,266,1,0,".(goto)", 0, 2, 0);
	T = trans[0][266] = settr(265,0,0,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,19,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,37,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,77,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,104,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,139,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,154,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,202,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,255,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,258,0,0,"DO", 0, 2, 0);
	T = T->nxt	= settr(265,0,261,0,0,"DO", 0, 2, 0);
	    T->nxt	= settr(265,0,265,0,0,"DO", 0, 2, 0);
	T = trans[ 0][19] = settr(18,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(18,2,1,0,0,"ATOMIC", 1, 2, 0);
	trans[0][1]	= settr(0,2,9,43,0,"((!(over)&&(allocations<4)))", 1, 2, 0);
	T = trans[ 0][9] = settr(8,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(8,0,2,0,0,"sub-sequence", 1, 2, 0);
	trans[0][2]	= settr(1,2,6,44,44,"b = 0", 1, 2, 0);
	trans[0][7]	= settr(6,2,6,1,0,".(goto)", 1, 2, 0);
	T = trans[0][6] = settr(5,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(5,2,5,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(5,2,3,0,0,"DO", 1, 2, 0);
	trans[0][5]	= settr(4,2,16,1,0,"goto :b1", 1, 2, 0);
	trans[0][3]	= settr(2,2,6,45,45,"((b<(2-1)))", 1, 2, 0); /* m: 4 -> 6,0 */
	reached0[4] = 1;
	trans[0][4]	= settr(0,0,0,0,0,"b = (b+1)",0,0,0);
	trans[0][8]	= settr(7,2,16,1,0,"break", 1, 2, 0);
	T = trans[0][16] = settr(15,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(15,2,10,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(15,2,15,0,0,"IF", 1, 2, 0);
	trans[0][10]	= settr(9,0,266,46,46,"(!(used[b]))", 1, 2, 0); /* m: 11 -> 266,0 */
	reached0[11] = 1;
	trans[0][11]	= settr(0,0,0,0,0,"allocations = (allocations+1)",0,0,0);
	trans[0][12]	= settr(0,0,0,0,0,"used[b] = 1",0,0,0);
	trans[0][13]	= settr(0,0,0,0,0,"owned[b] = 1",0,0,0);
	trans[0][14]	= settr(0,0,0,0,0,"stamp[b] = allocations",0,0,0);
	trans[0][17]	= settr(16,0,266,47,47,".(goto)", 1, 2, 0); /* m: 18 -> 0,266 */
	reached0[18] = 1;
	trans[0][15]	= settr(14,2,17,2,0,"else", 1, 2, 0);
	trans[0][18]	= settr(0,0,0,0,0,"b = 0",0,0,0);
	T = trans[ 0][37] = settr(36,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(36,2,20,0,0,"ATOMIC", 1, 2, 0);
	trans[0][20]	= settr(19,2,28,48,0,"(!(over))", 1, 2, 0);
	T = trans[ 0][28] = settr(27,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(27,0,21,0,0,"sub-sequence", 1, 2, 0);
	trans[0][21]	= settr(20,2,25,49,49,"b = 0", 1, 2, 0);
	trans[0][26]	= settr(25,2,25,1,0,".(goto)", 1, 2, 0);
	T = trans[0][25] = settr(24,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(24,2,24,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(24,2,22,0,0,"DO", 1, 2, 0);
	trans[0][24]	= settr(23,2,34,1,0,"goto :b2", 1, 2, 0);
	trans[0][22]	= settr(21,2,25,50,50,"((b<(2-1)))", 1, 2, 0); /* m: 23 -> 25,0 */
	reached0[23] = 1;
	trans[0][23]	= settr(0,0,0,0,0,"b = (b+1)",0,0,0);
	trans[0][27]	= settr(26,2,34,1,0,"break", 1, 2, 0);
	T = trans[0][34] = settr(33,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(33,2,29,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(33,2,33,0,0,"IF", 1, 2, 0);
	trans[0][29]	= settr(28,0,266,51,51,"(((owned[b]&&(sequence[b]==0))&&(written[b]<2)))", 1, 2, 0); /* m: 30 -> 266,0 */
	reached0[30] = 1;
	trans[0][30]	= settr(0,0,0,0,0,"assert(((((gone[0]||(attached[( ((0==1)) ? (1) : (0) )]!=0))||flagged[( ((0==1)) ? (1) : (0) )])||(holding[((0*2)+b)]==0))&&(((gone[2]||(attached[( ((2==1)) ? (1) : (0) )]!=2))||flagged[( ((2==1)) ? (1) : (0) )])||(holding[((2*2)+b)]==0))))",0,0,0);
	trans[0][31]	= settr(0,0,0,0,0,"memory[((b*2)+written[b])] = stamp[b]",0,0,0);
	trans[0][32]	= settr(0,0,0,0,0,"written[b] = (written[b]+1)",0,0,0);
	trans[0][35]	= settr(34,0,266,52,52,".(goto)", 1, 2, 0); /* m: 36 -> 0,266 */
	reached0[36] = 1;
	trans[0][33]	= settr(32,2,35,2,0,"else", 1, 2, 0);
	trans[0][36]	= settr(0,0,0,0,0,"b = 0",0,0,0);
	T = trans[ 0][77] = settr(76,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(76,2,38,0,0,"ATOMIC", 1, 2, 0);
	trans[0][38]	= settr(37,2,46,53,0,"(!(over))", 1, 2, 0);
	T = trans[ 0][46] = settr(45,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(45,0,39,0,0,"sub-sequence", 1, 2, 0);
	trans[0][39]	= settr(38,2,43,54,54,"b = 0", 1, 2, 0);
	trans[0][44]	= settr(43,2,43,1,0,".(goto)", 1, 2, 0);
	T = trans[0][43] = settr(42,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(42,2,42,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(42,2,40,0,0,"DO", 1, 2, 0);
	trans[0][42]	= settr(41,2,51,55,55,"goto :b3", 1, 2, 0); /* m: 47 -> 0,51 */
	reached0[47] = 1;
	trans[0][40]	= settr(39,2,43,56,56,"((b<(2-1)))", 1, 2, 0); /* m: 41 -> 43,0 */
	reached0[41] = 1;
	trans[0][41]	= settr(0,0,0,0,0,"b = (b+1)",0,0,0);
	trans[0][45]	= settr(44,2,47,1,0,"break", 1, 2, 0);
	trans[0][47]	= settr(46,2,51,57,57,"i = 0", 1, 2, 0);
	trans[0][52]	= settr(51,2,51,1,0,".(goto)", 1, 2, 0);
	T = trans[0][51] = settr(50,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(50,2,50,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(50,2,48,0,0,"DO", 1, 2, 0);
	trans[0][50]	= settr(49,2,73,1,0,"goto :b4", 1, 2, 0);
	trans[0][48]	= settr(47,2,51,58,58,"((i<(2-1)))", 1, 2, 0); /* m: 49 -> 51,0 */
	reached0[49] = 1;
	trans[0][49]	= settr(0,0,0,0,0,"i = (i+1)",0,0,0);
	trans[0][53]	= settr(52,2,73,1,0,"break", 1, 2, 0);
	T = trans[0][73] = settr(72,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(72,2,54,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(72,2,72,0,0,"IF", 1, 2, 0);
	trans[0][54]	= settr(53,2,71,59,0,"(((owned[b]&&(written[b]==2))&&(((attached[i]!=255)&&!(flagged[i]))&&!(sent[((b*2)+i)]))))", 1, 2, 0);
	T = trans[ 0][71] = settr(70,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(70,0,59,0,0,"sub-sequence", 1, 2, 0);
	T = trans[0][59] = settr(58,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(58,2,55,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(58,2,58,0,0,"IF", 1, 2, 0);
	trans[0][55]	= settr(54,2,68,60,60,"((sequence[b]==0))", 1, 2, 0); /* m: 56 -> 68,0 */
	reached0[56] = 1;
	trans[0][56]	= settr(0,0,0,0,0,"publications = (publications+1)",0,0,0);
	trans[0][57]	= settr(0,0,0,0,0,"sequence[b] = publications",0,0,0);
	trans[0][60]	= settr(59,2,61,1,0,".(goto)", 1, 2, 0); /* m: 61 -> 0,68 */
	reached0[61] = 1;
	trans[0][58]	= settr(57,2,61,2,0,"else", 1, 2, 0);
	trans[0][61]	= settr(60,2,68,61,61,"r = attached[i]", 1, 2, 0); /* m: 62 -> 0,68 */
	reached0[62] = 1;
	trans[0][62]	= settr(0,0,0,0,0,"sent[((b*2)+i)] = 1",0,0,0);
	trans[0][63]	= settr(0,0,0,0,0,"holding[((r*2)+b)] = stamp[b]",0,0,0);
	trans[0][64]	= settr(0,0,0,0,0,"holders[((b*2)+i)] = 1",0,0,0);
	T = trans[0][68] = settr(67,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(67,2,65,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(67,2,67,0,0,"IF", 1, 2, 0);
	trans[0][65]	= settr(64,2,66,62,0,"(((r!=1)&&nfull(ring[r])))", 1, 3, 0);
	trans[0][66]	= settr(65,0,266,63,63,"ring[r]!b,sequence[b],stamp[b]", 1, 3, 0); /* m: 70 -> 266,0 */
	reached0[70] = 1;
	trans[0][69]	= settr(68,2,70,1,0,".(goto)", 1, 2, 0); /* m: 70 -> 0,266 */
	reached0[70] = 1;
	trans[0][67]	= settr(66,2,70,2,0,"else", 1, 2, 0);
	trans[0][70]	= settr(69,0,266,64,64,"r = 0", 1, 2, 0); /* m: 75 -> 0,266 */
	reached0[75] = 1;
	trans[0][74]	= settr(73,2,75,1,0,".(goto)", 1, 2, 0); /* m: 75 -> 0,266 */
	reached0[75] = 1;
	trans[0][72]	= settr(71,2,75,2,0,"else", 1, 2, 0);
	trans[0][75]	= settr(74,0,266,65,65,"b = 0", 1, 2, 0); /* m: 76 -> 0,266 */
	reached0[76] = 1;
	trans[0][76]	= settr(0,0,0,0,0,"i = 0",0,0,0);
	T = trans[ 0][104] = settr(103,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(103,2,78,0,0,"ATOMIC", 1, 2, 0);
	trans[0][78]	= settr(77,2,86,66,0,"(!(over))", 1, 2, 0);
	T = trans[ 0][86] = settr(85,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(85,0,79,0,0,"sub-sequence", 1, 2, 0);
	trans[0][79]	= settr(78,2,83,67,67,"b = 0", 1, 2, 0);
	trans[0][84]	= settr(83,2,83,1,0,".(goto)", 1, 2, 0);
	T = trans[0][83] = settr(82,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(82,2,82,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(82,2,80,0,0,"DO", 1, 2, 0);
	trans[0][82]	= settr(81,2,101,1,0,"goto :b5", 1, 2, 0);
	trans[0][80]	= settr(79,2,83,68,68,"((b<(2-1)))", 1, 2, 0); /* m: 81 -> 83,0 */
	reached0[81] = 1;
	trans[0][81]	= settr(0,0,0,0,0,"b = (b+1)",0,0,0);
	trans[0][85]	= settr(84,2,101,1,0,"break", 1, 2, 0);
	T = trans[0][101] = settr(100,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(100,2,87,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(100,2,100,0,0,"IF", 1, 2, 0);
	trans[0][87]	= settr(86,2,99,69,69,"((owned[b]&&((written[b]==2)||(written[b]==0))))", 1, 2, 0); /* m: 88 -> 99,0 */
	reached0[88] = 1;
	trans[0][88]	= settr(0,0,0,0,0,"owned[b] = 0",0,0,0);
	T = trans[ 0][99] = settr(98,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(98,0,97,0,0,"sub-sequence", 1, 2, 0);
	T = trans[0][97] = settr(96,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(96,2,89,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(96,2,96,0,0,"IF", 1, 2, 0);
	trans[0][89]	= settr(88,0,266,70,70,"((((used[b]&&!(owned[b]))&&!(holders[((b*2)+0)]))&&!(holders[((b*2)+1)])))", 1, 2, 0); /* m: 90 -> 266,0 */
	reached0[90] = 1;
	trans[0][90]	= settr(0,0,0,0,0,"used[b] = 0",0,0,0);
	trans[0][91]	= settr(0,0,0,0,0,"sequence[b] = 0",0,0,0);
	trans[0][92]	= settr(0,0,0,0,0,"stamp[b] = 0",0,0,0);
	trans[0][93]	= settr(0,0,0,0,0,"written[b] = 0",0,0,0);
	trans[0][94]	= settr(0,0,0,0,0,"sent[((b*2)+0)] = 0",0,0,0);
	trans[0][95]	= settr(0,0,0,0,0,"sent[((b*2)+1)] = 0",0,0,0);
	trans[0][98]	= settr(97,2,102,1,0,".(goto)", 1, 2, 0); /* m: 102 -> 0,266 */
	reached0[102] = 1;
	trans[0][96]	= settr(95,2,102,2,0,"else", 1, 2, 0);
	trans[0][102]	= settr(101,0,266,71,71,".(goto)", 1, 2, 0); /* m: 103 -> 0,266 */
	reached0[103] = 1;
	trans[0][100]	= settr(99,2,102,2,0,"else", 1, 2, 0);
	trans[0][103]	= settr(0,0,0,0,0,"b = 0",0,0,0);
	T = trans[ 0][139] = settr(138,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(138,2,112,0,0,"ATOMIC", 1, 2, 0);
	T = trans[ 0][112] = settr(111,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(111,0,105,0,0,"sub-sequence", 1, 2, 0);
	trans[0][105]	= settr(104,2,109,72,72,"b = 0", 1, 2, 0);
	trans[0][110]	= settr(109,2,109,1,0,".(goto)", 1, 2, 0);
	T = trans[0][109] = settr(108,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(108,2,108,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(108,2,106,0,0,"DO", 1, 2, 0);
	trans[0][108]	= settr(107,2,117,73,73,"goto :b6", 1, 2, 0); /* m: 113 -> 0,117 */
	reached0[113] = 1;
	trans[0][106]	= settr(105,2,109,74,74,"((b<(2-1)))", 1, 2, 0); /* m: 107 -> 109,0 */
	reached0[107] = 1;
	trans[0][107]	= settr(0,0,0,0,0,"b = (b+1)",0,0,0);
	trans[0][111]	= settr(110,2,113,1,0,"break", 1, 2, 0);
	trans[0][113]	= settr(112,2,117,75,75,"i = 0", 1, 2, 0);
	trans[0][118]	= settr(117,2,117,1,0,".(goto)", 1, 2, 0);
	T = trans[0][117] = settr(116,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(116,2,116,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(116,2,114,0,0,"DO", 1, 2, 0);
	trans[0][116]	= settr(115,2,135,1,0,"goto :b7", 1, 2, 0);
	trans[0][114]	= settr(113,2,117,76,76,"((i<(2-1)))", 1, 2, 0); /* m: 115 -> 117,0 */
	reached0[115] = 1;
	trans[0][115]	= settr(0,0,0,0,0,"i = (i+1)",0,0,0);
	trans[0][119]	= settr(118,2,135,1,0,"break", 1, 2, 0);
	T = trans[0][135] = settr(134,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(134,2,120,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(134,2,134,0,0,"IF", 1, 2, 0);
	trans[0][120]	= settr(119,2,133,77,0,"(((attached[i]!=255)&&(holders[((b*2)+i)]&&(released[((attached[i]*2)+b)]==sequence[b]))))", 1, 2, 0);
	T = trans[ 0][133] = settr(132,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(132,0,121,0,0,"sub-sequence", 1, 2, 0);
	trans[0][121]	= settr(120,2,132,78,78,"holders[((b*2)+i)] = 0", 1, 2, 0);
	T = trans[ 0][132] = settr(131,0,0,0,0,"sub-sequence", 1, 2, 0);
	T->nxt	= settr(131,0,130,0,0,"sub-sequence", 1, 2, 0);
	T = trans[0][130] = settr(129,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(129,2,122,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(129,2,129,0,0,"IF", 1, 2, 0);
	trans[0][122]	= settr(121,0,266,79,79,"((((used[b]&&!(owned[b]))&&!(holders[((b*2)+0)]))&&!(holders[((b*2)+1)])))", 1, 2, 0); /* m: 123 -> 266,0 */
	reached0[123] = 1;
	trans[0][123]	= settr(0,0,0,0,0,"used[b] = 0",0,0,0);
	trans[0][124]	= settr(0,0,0,0,0,"sequence[b] = 0",0,0,0);
	trans[0][125]	= settr(0,0,0,0,0,"stamp[b] = 0",0,0,0);
	trans[0][126]	= settr(0,0,0,0,0,"written[b] = 0",0,0,0);
	trans[0][127]	= settr(0,0,0,0,0,"sent[((b*2)+0)] = 0",0,0,0);
	trans[0][128]	= settr(0,0,0,0,0,"sent[((b*2)+1)] = 0",0,0,0);
	trans[0][131]	= settr(130,2,137,1,0,".(goto)", 1, 2, 0); /* m: 137 -> 0,266 */
	reached0[137] = 1;
	trans[0][129]	= settr(128,2,137,2,0,"else", 1, 2, 0);
	trans[0][136]	= settr(135,2,137,1,0,".(goto)", 1, 2, 0); /* m: 137 -> 0,266 */
	reached0[137] = 1;
	trans[0][134]	= settr(133,2,137,2,0,"else", 1, 2, 0);
	trans[0][137]	= settr(136,0,266,80,80,"b = 0", 1, 2, 0); /* m: 138 -> 0,266 */
	reached0[138] = 1;
	trans[0][138]	= settr(0,0,0,0,0,"i = 0",0,0,0);
	T = trans[ 0][154] = settr(153,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(153,2,140,0,0,"ATOMIC", 1, 2, 0);
	trans[0][140]	= settr(139,2,145,81,81,"(!(over))", 1, 2, 0); /* m: 141 -> 145,0 */
	reached0[141] = 1;
	trans[0][141]	= settr(0,0,0,0,0,"i = 0",0,0,0);
	trans[0][146]	= settr(145,2,145,1,0,".(goto)", 1, 2, 0);
	T = trans[0][145] = settr(144,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(144,2,144,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(144,2,142,0,0,"DO", 1, 2, 0);
	trans[0][144]	= settr(143,2,152,1,0,"goto :b8", 1, 2, 0);
	trans[0][142]	= settr(141,2,145,82,82,"((i<(2-1)))", 1, 2, 0); /* m: 143 -> 145,0 */
	reached0[143] = 1;
	trans[0][143]	= settr(0,0,0,0,0,"i = (i+1)",0,0,0);
	trans[0][147]	= settr(146,2,152,1,0,"break", 1, 2, 0);
	T = trans[0][152] = settr(151,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(151,2,148,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(151,2,150,0,0,"IF", 1, 2, 0);
	trans[0][148]	= settr(147,4,187,83,83,"((((attached[i]!=255)&&!(flagged[i]))&&(holders[((0*2)+i)]||holders[((1*2)+i)])))", 1, 2, 0); /* m: 149 -> 187,0 */
	reached0[149] = 1;
	trans[0][149]	= settr(0,0,0,0,0,"flagged[i] = 1",0,0,0);
	trans[0][153]	= settr(152,0,187,84,84,".(goto)", 1, 2, 0);
	trans[0][150]	= settr(149,2,151,2,0,"else", 1, 2, 0);
	trans[0][151]	= settr(150,4,187,85,85,"i = 255", 1, 2, 0); /* m: 153 -> 0,187 */
	reached0[153] = 1;
	T = trans[0][187] = settr(186,0,0,0,0,"IF", 0, 2, 0);
	T = T->nxt	= settr(186,0,155,0,0,"IF", 0, 2, 0);
	    T->nxt	= settr(186,0,186,0,0,"IF", 0, 2, 0);
	trans[0][155]	= settr(154,0,185,86,0,"((i!=255))", 0, 2, 0);
	T = trans[ 0][185] = settr(184,0,0,0,0,"sub-sequence", 0, 2, 0);
	T->nxt	= settr(184,0,159,0,0,"sub-sequence", 0, 2, 0);
	T = trans[ 0][159] = settr(158,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(158,2,156,0,0,"ATOMIC", 1, 2, 0);
	trans[0][156]	= settr(155,4,161,87,87,"((pending_index==255))", 1, 2, 0); /* m: 157 -> 161,0 */
	reached0[157] = 1;
	trans[0][157]	= settr(0,0,0,0,0,"pending_index = i",0,0,0);
	trans[0][158]	= settr(0,0,0,0,0,"pending_id = (attached[i]+1)",0,0,0);
	T = trans[ 0][161] = settr(160,0,0,0,0,"sub-sequence", 0, 2, 0);
	T->nxt	= settr(160,0,160,0,0,"sub-sequence", 0, 2, 0);
	trans[0][160]	= settr(159,0,184,88,0,"((pending_index==255))", 1, 2, 0);
/*->*/	trans[0][184]	= settr(183,32,189,89,89,"D_STEP79", 1, 2, 0);
	trans[0][188]	= settr(187,0,189,1,0,".(goto)", 0, 2, 0); /* m: 189 -> 0,266 */
	reached0[189] = 1;
	trans[0][186]	= settr(185,0,189,2,0,"else", 0, 2, 0);
	trans[0][189]	= settr(188,0,266,90,90,"i = 0", 0, 2, 0);
	T = trans[ 0][202] = settr(201,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(201,2,190,0,0,"ATOMIC", 1, 2, 0);
	trans[0][190]	= settr(189,2,194,91,91,"i = 0", 1, 2, 0);
	trans[0][195]	= settr(194,2,194,1,0,".(goto)", 1, 2, 0);
	T = trans[0][194] = settr(193,2,0,0,0,"DO", 1, 2, 0);
	T = T->nxt	= settr(193,2,193,0,0,"DO", 1, 2, 0);
	    T->nxt	= settr(193,2,191,0,0,"DO", 1, 2, 0);
	trans[0][193]	= settr(192,2,200,1,0,"goto :b10", 1, 2, 0);
	trans[0][191]	= settr(190,2,194,92,92,"((i<(2-1)))", 1, 2, 0); /* m: 192 -> 194,0 */
	reached0[192] = 1;
	trans[0][192]	= settr(0,0,0,0,0,"i = (i+1)",0,0,0);
	trans[0][196]	= settr(195,2,200,1,0,"break", 1, 2, 0);
	T = trans[0][200] = settr(199,2,0,0,0,"IF", 1, 2, 0);
	T = T->nxt	= settr(199,2,197,0,0,"IF", 1, 2, 0);
	    T->nxt	= settr(199,2,198,0,0,"IF", 1, 2, 0);
	trans[0][197]	= settr(196,4,250,93,93,"(((attached[i]!=255)&&(flagged[i]||gone[attached[i]])))", 1, 2, 0); /* m: 201 -> 250,0 */
	reached0[201] = 1;
	trans[0][201]	= settr(200,0,250,94,94,".(goto)", 1, 2, 0);
	trans[0][198]	= settr(197,2,199,2,0,"else", 1, 2, 0);
	trans[0][199]	= settr(198,4,250,95,95,"i = 255", 1, 2, 0); /* m: 201 -> 0,250 */
	reached0[201] = 1;
	T = trans[0][250] = settr(249,0,0,0,0,"IF", 0, 2, 0);
	T = T->nxt	= settr(249,0,203,0,0,"IF", 0, 2, 0);
	    T->nxt	= settr(249,0,249,0,0,"IF", 0, 2, 0);
	trans[0][203]	= settr(202,0,233,96,0,"((i!=255))", 0, 2, 0);
	T = trans[ 0][233] = settr(232,0,0,0,0,"sub-sequence", 0, 2, 0);
	T->nxt	= settr(232,0,207,0,0,"sub-sequence", 0, 2, 0);
	T = trans[ 0][207] = settr(206,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(206,2,204,0,0,"ATOMIC", 1, 2, 0);
	trans[0][204]	= settr(203,4,209,97,97,"((pending_index==255))", 1, 2, 0); /* m: 205 -> 209,0 */
	reached0[205] = 1;
	trans[0][205]	= settr(0,0,0,0,0,"pending_index = i",0,0,0);
	trans[0][206]	= settr(0,0,0,0,0,"pending_id = (attached[i]+1)",0,0,0);
	T = trans[ 0][209] = settr(208,0,0,0,0,"sub-sequence", 0, 2, 0);
	T->nxt	= settr(208,0,208,0,0,"sub-sequence", 0, 2, 0);
	trans[0][208]	= settr(207,0,232,98,0,"((pending_index==255))", 1, 2, 0);
/*->*/	trans[0][232]	= settr(231,32,235,99,99,"D_STEP79", 1, 2, 0);
	T = trans[ 0][235] = settr(234,0,0,0,0,"sub-sequence", 0, 2, 0);
	T->nxt	= settr(234,0,234,0,0,"sub-sequence", 0, 2, 0);
	trans[0][234]	= settr(233,0,248,1,0,"(1)", 0, 2, 0);
/*->*/	trans[0][248]	= settr(247,32,252,100,100,"D_STEP225", 1, 2, 0);
	trans[0][251]	= settr(250,0,252,1,0,".(goto)", 0, 2, 0); /* m: 252 -> 0,266 */
	reached0[252] = 1;
	trans[0][249]	= settr(248,0,252,2,0,"else", 0, 2, 0);
	trans[0][252]	= settr(251,0,266,101,101,"i = 0", 0, 2, 0);
	T = trans[ 0][255] = settr(254,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(254,2,253,0,0,"ATOMIC", 1, 2, 0);
	trans[0][253]	= settr(252,2,254,102,0,"(((!(over)&&(attached[0]==255))&&(gone[2]==2)))", 1, 2, 0);
	trans[0][254]	= settr(253,0,266,1,0,"(1)", 1, 2, 0);
	T = trans[ 0][258] = settr(257,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(257,2,256,0,0,"ATOMIC", 1, 2, 0);
	trans[0][256]	= settr(255,0,266,103,103,"((((((!(over)&&(attached[0]==255))&&!(rests[2]))&&!(gone[2]))&&(given_up[0]<(2+1)))&&(pending_index==255)))", 1, 2, 0); /* m: 257 -> 266,0 */
	reached0[257] = 1;
	trans[0][257]	= settr(0,0,0,0,0,"attached[0] = 2",0,0,0);
	T = trans[ 0][261] = settr(260,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(260,2,259,0,0,"ATOMIC", 1, 2, 0);
	trans[0][259]	= settr(258,0,266,104,104,"(((!(over)&&!(owned[0]))&&!(owned[1])))", 1, 2, 0); /* m: 260 -> 266,0 */
	reached0[260] = 1;
	trans[0][260]	= settr(0,0,0,0,0,"over = 1",0,0,0);
	T = trans[ 0][265] = settr(264,2,0,0,0,"ATOMIC", 1, 2, 0);
	T->nxt	= settr(264,2,262,0,0,"ATOMIC", 1, 2, 0);
	trans[0][262]	= settr(261,4,269,105,105,"((((over&&((attached[0]==255)||rests[attached[0]]))&&(attached[1]==255))&&!(((attached[0]!=255)&&((holders[((0*2)+0)]&&(released[((attached[0]*2)+0)]==sequence[0]))||(holders[((1*2)+0)]&&(released[((attached[0]*2)+1)]==sequence[1])))))))", 1, 2, 0); /* m: 263 -> 269,0 */
	reached0[263] = 1;
	trans[0][263]	= settr(0,0,0,0,0,"assert((!(used[0])&&!(used[1])))",0,0,0);
	trans[0][264]	= settr(263,0,269,1,0,"goto :b0", 1, 2, 0);
	trans[0][268]	= settr(267,0,269,1,0,"break", 0, 2, 0);
	trans[0][269]	= settr(268,0,0,106,106,"-end-", 0, 3500, 0);
	/* np_ demon: */
	trans[_NP_] = (Trans **) emalloc(3*sizeof(Trans *));
	T = trans[_NP_][0] = settr(9997,0,1,_T5,0,"(np_)", 1,2,0);
	    T->nxt	  = settr(9998,0,0,_T2,0,"(1)",   0,2,0);
	T = trans[_NP_][1] = settr(9999,0,1,_T5,0,"(np_)", 1,2,0);
}

Trans *
settr(	int t_id, int a, int b, int c, int d,
	char *t, int g, int tpe0, int tpe1)
{	Trans *tmp = (Trans *) emalloc(sizeof(Trans));

	tmp->atom  = a&(6|32);	/* only (2|8|32) have meaning */
	if (!g) tmp->atom |= 8;	/* no global references */
	tmp->st    = b;
	tmp->tpe[0] = tpe0;
	tmp->tpe[1] = tpe1;
	tmp->tp    = t;
	tmp->t_id  = t_id;
	tmp->forw  = c;
	tmp->back  = d;
	return tmp;
}

Trans *
cpytr(Trans *a)
{	Trans *tmp = (Trans *) emalloc(sizeof(Trans));

	int i;
	tmp->atom  = a->atom;
	tmp->st    = a->st;
#ifdef HAS_UNLESS
	tmp->e_trans = a->e_trans;
	for (i = 0; i < HAS_UNLESS; i++)
		tmp->escp[i] = a->escp[i];
#endif
	tmp->tpe[0] = a->tpe[0];
	tmp->tpe[1] = a->tpe[1];
	for (i = 0; i < 6; i++)
	{	tmp->qu[i] = a->qu[i];
		tmp->ty[i] = a->ty[i];
	}
	tmp->tp    = (char *) emalloc(strlen(a->tp)+1);
	strcpy(tmp->tp, a->tp);
	tmp->t_id  = a->t_id;
	tmp->forw  = a->forw;
	tmp->back  = a->back;
	return tmp;
}

#ifndef NOREDUCE
int
srinc_set(int n)
{	if (n <= 2) return LOCAL;
	if (n <= 2+  DELTA) return Q_FULL_F; /* 's' or nfull  */
	if (n <= 2+2*DELTA) return Q_EMPT_F; /* 'r' or nempty */
	if (n <= 2+3*DELTA) return Q_EMPT_T; /* empty */
	if (n <= 2+4*DELTA) return Q_FULL_T; /* full  */
	if (n ==   5*DELTA) return GLOBAL;
	if (n ==   6*DELTA) return TIMEOUT_F;
	if (n ==   7*DELTA) return ALPHA_F;
	Uerror("cannot happen srinc_class");
	return BAD;
}
int
srunc(int n, int m)
{	switch(m) {
	case Q_FULL_F: return n-2;
	case Q_EMPT_F: return n-2-DELTA;
	case Q_EMPT_T: return n-2-2*DELTA;
	case Q_FULL_T: return n-2-3*DELTA;
	case ALPHA_F:
	case TIMEOUT_F: return 257; /* non-zero, and > MAXQ */
	}
	Uerror("cannot happen srunc");
	return 0;
}
#endif
int cnt;
#ifdef HAS_UNLESS
int
isthere(Trans *a, int b)
{	Trans *t;
	for (t = a; t; t = t->nxt)
		if (t->t_id == b)
			return 1;
	return 0;
}
#endif
#ifndef NOREDUCE
int
mark_safety(Trans *t) /* for conditional safety */
{	int g = 0, i, j, k;

	if (!t) return 0;
	if (t->qu[0])
		return (t->qu[1])?2:1;	/* marked */

	for (i = 0; i < 2; i++)
	{	j = srinc_set(t->tpe[i]);
		if (j >= GLOBAL && j != ALPHA_F)
			return -1;
		if (j != LOCAL)
		{	k = srunc(t->tpe[i], j);
			if (g == 0
			||  t->qu[0] != k
			||  t->ty[0] != j)
			{	t->qu[g] = k;
				t->ty[g] = j;
				g++;
	}	}	}
	return g;
}
#endif
void
retrans(int n, int m, int is, short srcln[], uchar reach[], uchar lpstate[])
	/* process n, with m states, is=initial state */
{	Trans *T0, *T1, *T2, *T3;
	Trans *T4, *T5; /* t_reverse or has_unless */
	int i;
#if defined(HAS_UNLESS) || !defined(NOREDUCE)
	int k;
#endif
#ifndef NOREDUCE
	int g, h, j, aa;
#endif
#ifdef HAS_UNLESS
	int p;
#endif
	if (state_tables >= 4)
	{	printf("STEP 1 %s\n", 
			procname[n]);
		for (i = 1; i < m; i++)
		for (T0 = trans[n][i]; T0; T0 = T0->nxt)
			crack(n, i, T0, srcln);
		return;
	}
	do {
		for (i = 1, cnt = 0; i < m; i++)
		{	T2 = trans[n][i];
			T1 = T2?T2->nxt:(Trans *)0;
/* prescan: */		for (T0 = T1; T0; T0 = T0->nxt)
/* choice in choice */	{	if (T0->st && trans[n][T0->st]
				&&  trans[n][T0->st]->nxt)
					break;
			}
#if 0
		if (T0)
		printf("\tstate %d / %d: choice in choice\n",
		i, T0->st);
#endif
			if (T0)
			for (T0 = T1; T0; T0 = T0->nxt)
			{	T3 = trans[n][T0->st];
				if (!T3->nxt)
				{	T2->nxt = cpytr(T0);
					T2 = T2->nxt;
					imed(T2, T0->st, n, i);
					continue;
				}
				do {	T3 = T3->nxt;
					T2->nxt = cpytr(T3);
					T2 = T2->nxt;
					imed(T2, T0->st, n, i);
				} while (T3->nxt);
				cnt++;
			}
		}
	} while (cnt);
	if (state_tables >= 3)
	{	printf("STEP 2 %s\n", 
			procname[n]);
		for (i = 1; i < m; i++)
		for (T0 = trans[n][i]; T0; T0 = T0->nxt)
			crack(n, i, T0, srcln);
		return;
	}
	for (i = 1; i < m; i++)
	{	if (trans[n][i] && trans[n][i]->nxt) /* optimize */
		{	T1 = trans[n][i]->nxt;
#if 0
			printf("\t\tpull %d (%d) to %d\n",
			T1->st, T1->forw, i);
#endif
			srcln[i] = srcln[T1->st];	/* Oyvind Teig, 5.2.0 */

			if (!trans[n][T1->st]) continue;
			T0 = cpytr(trans[n][T1->st]);
			trans[n][i] = T0;
			reach[T1->st] = 1;
			imed(T0, T1->st, n, i);
			for (T1 = T1->nxt; T1; T1 = T1->nxt)
			{
#if 0
			printf("\t\tpull %d (%d) to %d\n",
				T1->st, T1->forw, i);
#endif
		/*		srcln[i] = srcln[T1->st];  gh: not useful */
				if (!trans[n][T1->st]) continue;
				T0->nxt = cpytr(trans[n][T1->st]);
				T0 = T0->nxt;
				reach[T1->st] = 1;
				imed(T0, T1->st, n, i);
	}	}	}
	if (state_tables >= 2)
	{	printf("STEP 3 %s\n", 
			procname[n]);
		for (i = 1; i < m; i++)
		for (T0 = trans[n][i]; T0; T0 = T0->nxt)
			crack(n, i, T0, srcln);
		return;
	}
#ifdef HAS_UNLESS
	for (i = 1; i < m; i++)
	{	if (!trans[n][i]) continue;
		/* check for each state i if an
		 * escape to some state p is defined
		 * if so, copy and mark p's transitions
		 * and prepend them to the transition-
		 * list of state i
		 */
	 if (!like_java) /* the default */
	 {	for (T0 = trans[n][i]; T0; T0 = T0->nxt)
		for (k = HAS_UNLESS-1; k >= 0; k--)
		{	if (p = T0->escp[k])
			for (T1 = trans[n][p]; T1; T1 = T1->nxt)
			{	if (isthere(trans[n][i], T1->t_id))
					continue;
				T2 = cpytr(T1);
				T2->e_trans = p;
				T2->nxt = trans[n][i];
				trans[n][i] = T2;
		}	}
	 } else /* outermost unless checked first */
	 {	T4 = T3 = (Trans *) 0;
		for (T0 = trans[n][i]; T0; T0 = T0->nxt)
		for (k = HAS_UNLESS-1; k >= 0; k--)
		{	if (p = T0->escp[k])
			for (T1 = trans[n][p]; T1; T1 = T1->nxt)
			{	if (isthere(trans[n][i], T1->t_id))
					continue;
				T2 = cpytr(T1);
				T2->nxt = (Trans *) 0;
				T2->e_trans = p;
				if (T3)	T3->nxt = T2;
				else	T4 = T2;
				T3 = T2;
		}	}
		if (T4)
		{	T3->nxt = trans[n][i];
			trans[n][i] = T4;
		}
	 }
	}
#endif
#ifndef NOREDUCE
	for (i = 1; i < m; i++)
	{	if (a_cycles)
		{ /* moves through these states are visible */
	#if PROG_LAB>0 && defined(HAS_NP)
			if (progstate[n][i])
				goto degrade;
			for (T1 = trans[n][i]; T1; T1 = T1->nxt)
				if (progstate[n][T1->st])
					goto degrade;
	#endif
			if (accpstate[n][i] || visstate[n][i])
				goto degrade;
			for (T1 = trans[n][i]; T1; T1 = T1->nxt)
				if (accpstate[n][T1->st])
					goto degrade;
		}
		T1 = trans[n][i];
		if (!T1) continue;
		g = mark_safety(T1);	/* V3.3.1 */
		if (g < 0) goto degrade; /* global */
		/* check if mixing of guards preserves reduction */
		if (T1->nxt)
		{	k = 0;
			for (T0 = T1; T0; T0 = T0->nxt)
			{	if (!(T0->atom&8))
					goto degrade;
				for (aa = 0; aa < 2; aa++)
				{	j = srinc_set(T0->tpe[aa]);
					if (j >= GLOBAL && j != ALPHA_F)
						goto degrade;
					if (T0->tpe[aa]
					&&  T0->tpe[aa]
					!=  T1->tpe[0])
						k = 1;
			}	}
			/* g = 0;	V3.3.1 */
			if (k)	/* non-uniform selection */
			for (T0 = T1; T0; T0 = T0->nxt)
			for (aa = 0; aa < 2; aa++)
			{	j = srinc_set(T0->tpe[aa]);
				if (j != LOCAL)
				{	k = srunc(T0->tpe[aa], j);
					for (h = 0; h < 6; h++)
						if (T1->qu[h] == k
						&&  T1->ty[h] == j)
							break;
					if (h >= 6)
					{	T1->qu[g%6] = k;
						T1->ty[g%6] = j;
						g++;
			}	}	}
			if (g > 6)
			{	T1->qu[0] = 0;	/* turn it off */
				printf("pan: warning, line %d, ",
					srcln[i]);
			 	printf("too many stmnt types (%d)",
					g);
			  	printf(" in selection\n");
			  goto degrade;
			}
		}
		/* mark all options global if >=1 is global */
		for (T1 = trans[n][i]; T1; T1 = T1->nxt)
			if (!(T1->atom&8)) break;
		if (T1)
degrade:	for (T1 = trans[n][i]; T1; T1 = T1->nxt)
			T1->atom &= ~8;	/* mark as unsafe */
		/* can only mix 'r's or 's's if on same chan */
		/* and not mixed with other local operations */
		T1 = trans[n][i];
		if (!T1 || T1->qu[0]) continue;
		j = T1->tpe[0];
		if (T1->nxt && T1->atom&8)
		{ if (j == 5*DELTA)
		  {	printf("warning: line %d ", srcln[i]);
			printf("mixed condition ");
			printf("(defeats reduction)\n");
			goto degrade;
		  }
		  for (T0 = T1; T0; T0 = T0->nxt)
		  for (aa = 0; aa < 2; aa++)
		  if  (T0->tpe[aa] && T0->tpe[aa] != j)
		  {	printf("warning: line %d ", srcln[i]);
			printf("[%d-%d] mixed %stion ",
				T0->tpe[aa], j, 
				(j==5*DELTA)?"condi":"selec");
			printf("(defeats reduction)\n");
			printf("	'%s' <-> '%s'\n",
				T1->tp, T0->tp);
			goto degrade;
		} }
	}
#endif
	for (i = 1; i < m; i++)
	{	T2 = trans[n][i];
		if (!T2
		||  T2->nxt
		||  strncmp(T2->tp, ".(goto)", 7)
		||  !stopstate[n][i])
			continue;
		stopstate[n][T2->st] = 1;
	}
	if (state_tables && !verbose)
	{	if (dodot)
		{	char buf[256], *q = buf, *p = procname[n];
			while (*p != '\0')
			{	if (*p != ':')
				{	*q++ = *p;
				}
				p++;
			}
			*q = '\0';
			printf("digraph ");
			switch (Btypes[n]) {
			case I_PROC:  printf("init {\n"); break;
			case N_CLAIM: printf("claim_%s {\n", buf); break;
			case E_TRACE: printf("notrace {\n"); break;
			case N_TRACE: printf("trace {\n"); break;
			default:      printf("p_%s {\n", buf); break;
			}
			printf("size=\"8,10\";\n");
			printf("  GT [shape=box,style=dotted,label=\"%s\"];\n", buf);
			printf("  GT -> S%d;\n", is);
		} else
		{	switch (Btypes[n]) {
			case I_PROC:  printf("init\n"); break;
			case N_CLAIM: printf("claim %s\n", procname[n]); break;
			case E_TRACE: printf("notrace assertion\n"); break;
			case N_TRACE: printf("trace assertion\n"); break;
			default:      printf("proctype %s\n", procname[n]); break;
		}	}
		for (i = 1; i < m; i++)
		{	reach[i] = 1;
		}
		tagtable(n, m, is, srcln, reach);
		if (dodot) printf("}\n");
	} else
	for (i = 1; i < m; i++)
	{	int nrelse;
		if (Btypes[n] != N_CLAIM)
		{	for (T0 = trans[n][i]; T0; T0 = T0->nxt)
			{	if (T0->st == i
				&& strcmp(T0->tp, "(1)") == 0)
				{	printf("error: proctype '%s' ",
						procname[n]);
		  			printf("line %d, state %d: has un",
						srcln[i], i);
					printf("conditional self-loop\n");
					pan_exit(1);
		}	}	}
		nrelse = 0;
		for (T0 = trans[n][i]; T0; T0 = T0->nxt)
		{	if (strcmp(T0->tp, "else") == 0)
				nrelse++;
		}
		if (nrelse > 1)
		{	printf("error: proctype '%s' state",
				procname[n]);
		  	printf(" %d, inherits %d", i, nrelse);
		  	printf(" 'else' stmnts\n");
			pan_exit(1);
	}	}
#if !defined(LOOPSTATE) && !defined(BFS_PAR)
	if (state_tables)
#endif
	do_dfs(n, m, is, srcln, reach, lpstate);

	if (!t_reverse)
	{	return;
	}
	/* process n, with m states, is=initial state -- reverse list */
	if (!state_tables && Btypes[n] != N_CLAIM)
	{	for (i = 1; i < m; i++)
		{	Trans *Tx = (Trans *) 0; /* list of escapes */
			Trans *Ty = (Trans *) 0; /* its tail element */
			T1 = (Trans *) 0; /* reversed list */
			T2 = (Trans *) 0; /* its tail */
			T3 = (Trans *) 0; /* remembers possible 'else' */

			/* find unless-escapes, they should go first */
			T4 = T5 = T0 = trans[n][i];
	#ifdef HAS_UNLESS
			while (T4 && T4->e_trans) /* escapes are first in orig list */
			{	T5 = T4;	  /* remember predecessor */
				T4 = T4->nxt;
			}
	#endif
			/* T4 points to first non-escape, T5 to its parent, T0 to original list */
			if (T4 != T0)		 /* there was at least one escape */
			{	T3 = T5->nxt;		 /* start of non-escapes */
				T5->nxt = (Trans *) 0;	 /* separate */
				Tx = T0;		 /* start of the escapes */
				Ty = T5;		 /* its tail */
				T0 = T3;		 /* the rest, to be reversed */
			}
			/* T0 points to first non-escape, Tx to the list of escapes, Ty to its tail */

			/* first tail-add non-escape transitions, reversed */
			T3 = (Trans *) 0;
			for (T5 = T0; T5; T5 = T4)
			{	T4 = T5->nxt;
	#ifdef HAS_UNLESS
				if (T5->e_trans)
				{	printf("error: cannot happen!\n");
					continue;
				}
	#endif
				if (strcmp(T5->tp, "else") == 0)
				{	T3 = T5;
					T5->nxt = (Trans *) 0;
				} else
				{	T5->nxt = T1;
					if (!T1) { T2 = T5; }
					T1 = T5;
			}	}
			/* T3 points to a possible else, which is removed from the list */
			/* T1 points to the reversed list so far (without escapes) */
			/* T2 points to the tail element -- where the else should go */
			if (T2 && T3)
			{	T2->nxt = T3;	/* add else */
			} else
			{	if (T3) /* there was an else, but there's no tail */
				{	if (!T1)	/* and no reversed list */
					{	T1 = T3; /* odd, but possible */
					} else		/* even stranger */
					{	T1->nxt = T3;
			}	}	}

			/* add in the escapes, to that they appear at the front */
			if (Tx && Ty) { Ty->nxt = T1; T1 = Tx; }

			trans[n][i] = T1;
			/* reversed, with escapes first and else last */
	}	}
	if (state_tables && verbose)
	{	printf("FINAL proctype %s\n", 
			procname[n]);
		for (i = 1; i < m; i++)
		for (T0 = trans[n][i]; T0; T0 = T0->nxt)
			crack(n, i, T0, srcln);
	}
}
void
imed(Trans *T, int v, int n, int j)	/* set intermediate state */
{	progstate[n][T->st] |= progstate[n][v];
	accpstate[n][T->st] |= accpstate[n][v];
	stopstate[n][T->st] |= stopstate[n][v];
	mapstate[n][j] = T->st;
}
void
tagtable(int n, int m, int is, short srcln[], uchar reach[])
{	Trans *z;

	if (is >= m || !trans[n][is]
	||  is <= 0 || reach[is] == 0)
		return;
	reach[is] = 0;
	if (state_tables)
	for (z = trans[n][is]; z; z = z->nxt)
	{	if (dodot)
			dot_crack(n, is, z);
		else
			crack(n, is, z, srcln);
	}

	for (z = trans[n][is]; z; z = z->nxt)
	{
#ifdef HAS_UNLESS
		int i, j;
#endif
		tagtable(n, m, z->st, srcln, reach);
#ifdef HAS_UNLESS
		for (i = 0; i < HAS_UNLESS; i++)
		{	j = trans[n][is]->escp[i];
			if (!j) break;
			tagtable(n, m, j, srcln, reach);
		}
#endif
	}
}

extern Trans *t_id_lkup[];

void
dfs_table(int n, int m, int is, short srcln[], uchar reach[], uchar lpstate[])
{	Trans *z;

	if (is >= m || is <= 0 || !trans[n][is])
		return;
	if ((reach[is] & (4|8|16)) != 0)
	{	if ((reach[is] & (8|16)) == 16)	/* on stack, not yet recorded */
		{	lpstate[is] = 1;
			reach[is] |= 8; /* recorded */
			if (state_tables && verbose)
			{	printf("state %d line %d is a loopstate\n", is, srcln[is]);
		}	}
		return;
	}
	reach[is] |= (4|16);	/* visited | onstack */
	for (z = trans[n][is]; z; z = z->nxt)
	{	t_id_lkup[z->t_id] = z;
#ifdef HAS_UNLESS
		int i, j;
#endif
		dfs_table(n, m, z->st, srcln, reach, lpstate);
#ifdef HAS_UNLESS
		for (i = 0; i < HAS_UNLESS; i++)
		{	j = trans[n][is]->escp[i];
			if (!j) break;
			dfs_table(n, m, j, srcln, reach, lpstate);
		}
#endif
	}
	reach[is] &= ~16; /* no longer on stack */
}
void
do_dfs(int n, int m, int is, short srcln[], uchar reach[], uchar lpstate[])
{	int i;
	dfs_table(n, m, is, srcln, reach, lpstate);
	for (i = 0; i < m; i++)
		reach[i] &= ~(4|8|16);
}
void
crack(int n, int j, Trans *z, short srcln[])
{	int i;

	if (!z) return;
	printf("	state %3d -(tr %3d)-> state %3d  ",
		j, z->forw, z->st);
	printf("[id %3d tp %3d", z->t_id, z->tpe[0]);
	if (z->tpe[1]) printf(",%d", z->tpe[1]);
#ifdef HAS_UNLESS
	if (z->e_trans)
		printf(" org %3d", z->e_trans);
	else if (state_tables >= 2)
	for (i = 0; i < HAS_UNLESS; i++)
	{	if (!z->escp[i]) break;
		printf(" esc %d", z->escp[i]);
	}
#endif
	printf("]");
	printf(" [%s%s%s%s%s] %s:%d => ",
		z->atom&6?"A":z->atom&32?"D":"-",
		accpstate[n][j]?"a" :"-",
		stopstate[n][j]?"e" : "-",
		progstate[n][j]?"p" : "-",
		z->atom & 8 ?"L":"G",
		PanSource, srcln[j]);
	for (i = 0; z->tp[i]; i++)
		if (z->tp[i] == '\n')
			printf("\\n");
		else
			putchar(z->tp[i]);
	if (verbose && z->qu[0])
	{	printf("\t[");
		for (i = 0; i < 6; i++)
			if (z->qu[i])
				printf("(%d,%d)",
				z->qu[i], z->ty[i]);
		printf("]");
	}
	printf("\n");
	fflush(stdout);
}
/* spin -a m.pml; cc -o pan pan.c; ./pan -D | dot -Tps > foo.ps; ps2pdf foo.ps */
void
dot_crack(int n, int j, Trans *z)
{	int i;

	if (!z) return;
	printf("	S%d -> S%d  [color=black", j, z->st);

	if (z->atom&6) printf(",style=dashed");
	else if (z->atom&32) printf(",style=dotted");
	else if (z->atom&8) printf(",style=solid");
	else printf(",style=bold");

	printf(",label=\"");
	for (i = 0; z->tp[i]; i++)
	{	if (z->tp[i] == '\\'
		&&  z->tp[i+1] == 'n')
		{	i++; printf(" ");
		} else
		{	putchar(z->tp[i]);
	}	}
	printf("\"];\n");
	if (accpstate[n][j]) printf("  S%d [color=red,style=bold];\n", j);
	else if (progstate[n][j]) printf("  S%d [color=green,style=bold];\n", j);
	if (stopstate[n][j]) printf("  S%d [color=blue,style=bold,shape=box];\n", j);
}

#ifdef VAR_RANGES
#define BYTESIZE	32	/* 2^8 : 2^3 = 256:8 = 32 */

typedef struct Vr_Ptr {
	char	*nm;
	uchar	vals[BYTESIZE];
	struct Vr_Ptr *nxt;
} Vr_Ptr;
Vr_Ptr *ranges = (Vr_Ptr *) 0;

void
logval(char *s, int v)
{	Vr_Ptr *tmp;

	if (v<0 || v > 255) return;
	for (tmp = ranges; tmp; tmp = tmp->nxt)
		if (!strcmp(tmp->nm, s))
			goto found;
	tmp = (Vr_Ptr *) emalloc(sizeof(Vr_Ptr));
	tmp->nxt = ranges;
	ranges = tmp;
	tmp->nm = s;
found:
	tmp->vals[(v)/8] |= 1<<((v)%8);
}

void
dumpval(uchar X[], int range)
{	int w, x, i, j = -1;

	for (w = i = 0; w < range; w++)
	for (x = 0; x < 8; x++, i++)
	{
from:		if ((X[w] & (1<<x)))
		{	printf("%d", i);
			j = i;
			goto upto;
	}	}
	return;
	for (w = 0; w < range; w++)
	for (x = 0; x < 8; x++, i++)
	{
upto:		if (!(X[w] & (1<<x)))
		{	if (i-1 == j)
				printf(", ");
			else
				printf("-%d, ", i-1);
			goto from;
	}	}
	if (j >= 0 && j != 255)
		printf("-255");
}

void
dumpranges(void)
{	Vr_Ptr *tmp;
	printf("\nValues assigned within ");
	printf("interval [0..255]:\n");
	for (tmp = ranges; tmp; tmp = tmp->nxt)
	{	printf("\t%s\t: ", tmp->nm);
		dumpval(tmp->vals, BYTESIZE);
		printf("\n");
	}
}
#endif
