#define rand	pan_rand
#define pthread_equal(a,b)	((a)==(b))
#if defined(HAS_CODE) && defined(VERBOSE)
	#ifdef BFS_PAR
		bfs_printf("Pr: %d Tr: %d\n", II, t->forw);
	#else
		cpu_printf("Pr: %d Tr: %d\n", II, t->forw);
	#endif
#endif
	switch (t->forw) {
	default: Uerror("bad forward move");
	case 0:	/* if without executable clauses */
		continue;
	case 1: /* generic 'goto' or 'skip' */
		IfNotBlocked
		_m = 3; goto P999;
	case 2: /* generic 'else' */
		IfNotBlocked
		if (trpt->o_pm&1) continue;
		_m = 3; goto P999;

		 /* PROC :init: */
	case 3: // STATE 1 - blocks.pml:341 - [attached[0] = 0] (0:3:2 - 1)
		IfNotBlocked
		reached[4][1] = 1;
		(trpt+1)->bup.ovals = grab_ints(2);
		(trpt+1)->bup.ovals[0] = ((int)now.attached[0]);
		now.attached[0] = 0;
#ifdef VAR_RANGES
		logval("attached[0]", ((int)now.attached[0]));
#endif
		;
		/* merge: attached[1] = 1(3, 2, 3) */
		reached[4][2] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.attached[1]);
		now.attached[1] = 1;
#ifdef VAR_RANGES
		logval("attached[1]", ((int)now.attached[1]));
#endif
		;
		_m = 3; goto P999; /* 1 */
	case 4: // STATE 3 - blocks.pml:342 - [(run Broadcaster())] (0:0:0 - 1)
		IfNotBlocked
		reached[4][3] = 1;
		if (!(addproc(II, 1, 0, 0)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 5: // STATE 4 - blocks.pml:342 - [(run StoreBuffer())] (0:0:0 - 1)
		IfNotBlocked
		reached[4][4] = 1;
		if (!(addproc(II, 1, 1, 0)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 6: // STATE 5 - blocks.pml:342 - [(run Receiver(0))] (0:0:0 - 1)
		IfNotBlocked
		reached[4][5] = 1;
		if (!(addproc(II, 1, 2, 0)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 7: // STATE 6 - blocks.pml:342 - [(run Receiver(2))] (0:0:0 - 1)
		IfNotBlocked
		reached[4][6] = 1;
		if (!(addproc(II, 1, 2, 2)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 8: // STATE 7 - blocks.pml:342 - [(run Hostile())] (0:0:0 - 1)
		IfNotBlocked
		reached[4][7] = 1;
		if (!(addproc(II, 1, 3, 0)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 9: // STATE 9 - blocks.pml:344 - [-end-] (0:0:0 - 1)
		IfNotBlocked
		reached[4][9] = 1;
		if (!delproc(1, II)) continue;
		_m = 3; goto P999; /* 0 */

		 /* PROC Hostile */
	case 10: // STATE 1 - blocks.pml:333 - [b = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[3][1] = 1;
		(trpt+1)->bup.oval = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 11: // STATE 2 - blocks.pml:333 - [((b<(2-1)))] (5:0:1 - 1)
		IfNotBlocked
		reached[3][2] = 1;
		if (!((((int)((P3 *)_this)->b)<(2-1))))
			continue;
		/* merge: b = (b+1)(0, 3, 5) */
		reached[3][3] = 1;
		(trpt+1)->bup.oval = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = (((int)((P3 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 6, 5) */
		reached[3][6] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 12: // STATE 8 - blocks.pml:333 - [value = 0] (0:20:4 - 1)
		IfNotBlocked
		reached[3][8] = 1;
		(trpt+1)->bup.ovals = grab_ints(4);
		(trpt+1)->bup.ovals[0] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 0;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(20, 14, 20) */
		reached[3][14] = 1;
		;
		/* merge: released[((1*2)+b)] = value(20, 15, 20) */
		reached[3][15] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]);
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = ((int)((P3 *)_this)->value);
#ifdef VAR_RANGES
		logval("released[((1*2)+Hostile:b)]", ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: b = 0(20, 16, 20) */
		reached[3][16] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		/* merge: value = 0(20, 17, 20) */
		reached[3][17] = 1;
		(trpt+1)->bup.ovals[3] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 0;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(0, 21, 20) */
		reached[3][21] = 1;
		;
		_m = 3; goto P999; /* 5 */
	case 13: // STATE 9 - blocks.pml:333 - [value = 1] (0:20:4 - 1)
		IfNotBlocked
		reached[3][9] = 1;
		(trpt+1)->bup.ovals = grab_ints(4);
		(trpt+1)->bup.ovals[0] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 1;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(20, 14, 20) */
		reached[3][14] = 1;
		;
		/* merge: released[((1*2)+b)] = value(20, 15, 20) */
		reached[3][15] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]);
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = ((int)((P3 *)_this)->value);
#ifdef VAR_RANGES
		logval("released[((1*2)+Hostile:b)]", ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: b = 0(20, 16, 20) */
		reached[3][16] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		/* merge: value = 0(20, 17, 20) */
		reached[3][17] = 1;
		(trpt+1)->bup.ovals[3] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 0;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(0, 21, 20) */
		reached[3][21] = 1;
		;
		_m = 3; goto P999; /* 5 */
	case 14: // STATE 10 - blocks.pml:333 - [value = 2] (0:20:4 - 1)
		IfNotBlocked
		reached[3][10] = 1;
		(trpt+1)->bup.ovals = grab_ints(4);
		(trpt+1)->bup.ovals[0] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 2;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(20, 14, 20) */
		reached[3][14] = 1;
		;
		/* merge: released[((1*2)+b)] = value(20, 15, 20) */
		reached[3][15] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]);
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = ((int)((P3 *)_this)->value);
#ifdef VAR_RANGES
		logval("released[((1*2)+Hostile:b)]", ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: b = 0(20, 16, 20) */
		reached[3][16] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		/* merge: value = 0(20, 17, 20) */
		reached[3][17] = 1;
		(trpt+1)->bup.ovals[3] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 0;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(0, 21, 20) */
		reached[3][21] = 1;
		;
		_m = 3; goto P999; /* 5 */
	case 15: // STATE 11 - blocks.pml:333 - [value = 3] (0:20:4 - 1)
		IfNotBlocked
		reached[3][11] = 1;
		(trpt+1)->bup.ovals = grab_ints(4);
		(trpt+1)->bup.ovals[0] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 3;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(20, 14, 20) */
		reached[3][14] = 1;
		;
		/* merge: released[((1*2)+b)] = value(20, 15, 20) */
		reached[3][15] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]);
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = ((int)((P3 *)_this)->value);
#ifdef VAR_RANGES
		logval("released[((1*2)+Hostile:b)]", ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: b = 0(20, 16, 20) */
		reached[3][16] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		/* merge: value = 0(20, 17, 20) */
		reached[3][17] = 1;
		(trpt+1)->bup.ovals[3] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 0;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(0, 21, 20) */
		reached[3][21] = 1;
		;
		_m = 3; goto P999; /* 5 */
	case 16: // STATE 12 - blocks.pml:333 - [value = 4] (0:20:4 - 1)
		IfNotBlocked
		reached[3][12] = 1;
		(trpt+1)->bup.ovals = grab_ints(4);
		(trpt+1)->bup.ovals[0] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 4;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(20, 14, 20) */
		reached[3][14] = 1;
		;
		/* merge: released[((1*2)+b)] = value(20, 15, 20) */
		reached[3][15] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]);
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = ((int)((P3 *)_this)->value);
#ifdef VAR_RANGES
		logval("released[((1*2)+Hostile:b)]", ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: b = 0(20, 16, 20) */
		reached[3][16] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		/* merge: value = 0(20, 17, 20) */
		reached[3][17] = 1;
		(trpt+1)->bup.ovals[3] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 0;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(0, 21, 20) */
		reached[3][21] = 1;
		;
		_m = 3; goto P999; /* 5 */
	case 17: // STATE 15 - blocks.pml:333 - [released[((1*2)+b)] = value] (0:20:3 - 6)
		IfNotBlocked
		reached[3][15] = 1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]);
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = ((int)((P3 *)_this)->value);
#ifdef VAR_RANGES
		logval("released[((1*2)+Hostile:b)]", ((int)now.released[ Index(((1*2)+((int)((P3 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: b = 0(20, 16, 20) */
		reached[3][16] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P3 *)_this)->b);
		((P3 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Hostile:b", ((int)((P3 *)_this)->b));
#endif
		;
		/* merge: value = 0(20, 17, 20) */
		reached[3][17] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P3 *)_this)->value);
		((P3 *)_this)->value = 0;
#ifdef VAR_RANGES
		logval("Hostile:value", ((int)((P3 *)_this)->value));
#endif
		;
		/* merge: .(goto)(0, 21, 20) */
		reached[3][21] = 1;
		;
		_m = 3; goto P999; /* 3 */
	case 18: // STATE 23 - blocks.pml:336 - [gone[1] = 1] (0:0:1 - 2)
		IfNotBlocked
		reached[3][23] = 1;
		(trpt+1)->bup.oval = ((int)now.gone[1]);
		now.gone[1] = 1;
#ifdef VAR_RANGES
		logval("gone[1]", ((int)now.gone[1]));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 19: // STATE 24 - blocks.pml:337 - [-end-] (0:0:0 - 1)
		IfNotBlocked
		reached[3][24] = 1;
		if (!delproc(1, II)) continue;
		_m = 3; goto P999; /* 0 */

		 /* PROC Receiver */
	case 20: // STATE 1 - blocks.pml:299 - [(((attached[( ((me==1)) ? (1) : (0) )]==me)||over))] (0:0:0 - 1)
		IfNotBlocked
		reached[2][1] = 1;
		if (!(((((int)now.attached[ Index(( ((((int)((P2 *)_this)->me)==1)) ? (1) : (0) ), 2) ])==((int)((P2 *)_this)->me))||((int)now.over))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 21: // STATE 2 - blocks.pml:301 - [(((expected[0]==0)&&nempty(ring[me])))] (0:0:0 - 1)
		IfNotBlocked
		reached[2][2] = 1;
		if (!(((((int)((P2 *)_this)->expected[0])==0)&&(q_len(now.ring[ Index(((int)((P2 *)_this)->me), 3) ])>0))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 22: // STATE 3 - blocks.pml:301 - [ring[me]?slot[0],number[0],expected[0]] (0:0:3 - 1)
		reached[2][3] = 1;
		if (q_len(now.ring[ Index(((int)((P2 *)_this)->me), 3) ]) == 0) continue;

		XX=1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)((P2 *)_this)->slot[0]);
		(trpt+1)->bup.ovals[1] = ((int)((P2 *)_this)->number[0]);
		(trpt+1)->bup.ovals[2] = ((int)((P2 *)_this)->expected[0]);
		;
		((P2 *)_this)->slot[0] = qrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 0, 0);
#ifdef VAR_RANGES
		logval("Receiver:slot[0]", ((int)((P2 *)_this)->slot[0]));
#endif
		;
		((P2 *)_this)->number[0] = qrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 1, 0);
#ifdef VAR_RANGES
		logval("Receiver:number[0]", ((int)((P2 *)_this)->number[0]));
#endif
		;
		((P2 *)_this)->expected[0] = qrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 2, 1);
#ifdef VAR_RANGES
		logval("Receiver:expected[0]", ((int)((P2 *)_this)->expected[0]));
#endif
		;
		
#ifdef HAS_CODE
		if (readtrail && gui) {
			char simtmp[32];
			sprintf(simvals, "%d?", now.ring[ Index(((int)((P2 *)_this)->me), 3) ]);
		sprintf(simtmp, "%d", ((int)((P2 *)_this)->slot[0])); strcat(simvals, simtmp);		strcat(simvals, ",");
		sprintf(simtmp, "%d", ((int)((P2 *)_this)->number[0])); strcat(simvals, simtmp);		strcat(simvals, ",");
		sprintf(simtmp, "%d", ((int)((P2 *)_this)->expected[0])); strcat(simvals, simtmp);		}
#endif
		;
		_m = 4; goto P999; /* 0 */
	case 23: // STATE 5 - blocks.pml:302 - [((((expected[0]!=0)&&(expected[1]==0))&&nempty(ring[me])))] (0:0:0 - 1)
		IfNotBlocked
		reached[2][5] = 1;
		if (!((((((int)((P2 *)_this)->expected[0])!=0)&&(((int)((P2 *)_this)->expected[1])==0))&&(q_len(now.ring[ Index(((int)((P2 *)_this)->me), 3) ])>0))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 24: // STATE 6 - blocks.pml:302 - [ring[me]?slot[1],number[1],expected[1]] (0:0:3 - 1)
		reached[2][6] = 1;
		if (q_len(now.ring[ Index(((int)((P2 *)_this)->me), 3) ]) == 0) continue;

		XX=1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)((P2 *)_this)->slot[1]);
		(trpt+1)->bup.ovals[1] = ((int)((P2 *)_this)->number[1]);
		(trpt+1)->bup.ovals[2] = ((int)((P2 *)_this)->expected[1]);
		;
		((P2 *)_this)->slot[1] = qrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 0, 0);
#ifdef VAR_RANGES
		logval("Receiver:slot[1]", ((int)((P2 *)_this)->slot[1]));
#endif
		;
		((P2 *)_this)->number[1] = qrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 1, 0);
#ifdef VAR_RANGES
		logval("Receiver:number[1]", ((int)((P2 *)_this)->number[1]));
#endif
		;
		((P2 *)_this)->expected[1] = qrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 2, 1);
#ifdef VAR_RANGES
		logval("Receiver:expected[1]", ((int)((P2 *)_this)->expected[1]));
#endif
		;
		
#ifdef HAS_CODE
		if (readtrail && gui) {
			char simtmp[32];
			sprintf(simvals, "%d?", now.ring[ Index(((int)((P2 *)_this)->me), 3) ]);
		sprintf(simtmp, "%d", ((int)((P2 *)_this)->slot[1])); strcat(simvals, simtmp);		strcat(simvals, ",");
		sprintf(simtmp, "%d", ((int)((P2 *)_this)->number[1])); strcat(simvals, simtmp);		strcat(simvals, ",");
		sprintf(simtmp, "%d", ((int)((P2 *)_this)->expected[1])); strcat(simvals, simtmp);		}
#endif
		;
		_m = 4; goto P999; /* 0 */
	case 25: // STATE 8 - blocks.pml:303 - [((expected[f]!=0))] (0:0:0 - 1)
		IfNotBlocked
		reached[2][8] = 1;
		if (!((((int)((P2 *)_this)->expected[ Index(((int)((P2 *)_this)->f), 2) ])!=0)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 26: // STATE 11 - blocks.pml:277 - [first = memory[((slot[f]*2)+0)]] (0:0:1 - 1)
		IfNotBlocked
		reached[2][11] = 1;
		(trpt+1)->bup.oval = ((int)((P2 *)_this)->first);
		((P2 *)_this)->first = ((int)now.memory[ Index(((((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ])*2)+0), 4) ]);
#ifdef VAR_RANGES
		logval("Receiver:first", ((int)((P2 *)_this)->first));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 27: // STATE 12 - blocks.pml:278 - [second = memory[((slot[f]*2)+1)]] (0:0:1 - 1)
		IfNotBlocked
		reached[2][12] = 1;
		(trpt+1)->bup.oval = ((int)((P2 *)_this)->second);
		((P2 *)_this)->second = ((int)now.memory[ Index(((((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ])*2)+1), 4) ]);
#ifdef VAR_RANGES
		logval("Receiver:second", ((int)((P2 *)_this)->second));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 28: // STATE 13 - blocks.pml:279 - [whole = (given_up[0]<(me+1))] (0:0:1 - 1)
		IfNotBlocked
		reached[2][13] = 1;
		(trpt+1)->bup.oval = ((int)((P2 *)_this)->whole);
		((P2 *)_this)->whole = (((int)now.given_up[0])<(((int)((P2 *)_this)->me)+1));
#ifdef VAR_RANGES
		logval("Receiver:whole", ((int)((P2 *)_this)->whole));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 29: // STATE 17 - blocks.pml:281 - [D_STEP281]
		/* default 258 */
		

		reached[2][17] = 1;
		reached[2][t->st] = 1;
		reached[2][tt] = 1;

		if (TstOnly) return 1;

		sv_save();
		S_291_0: /* 2 */
		spin_assert(( !(((int)((P2 *)_this)->whole))||((((int)((P2 *)_this)->first)==((int)((P2 *)_this)->expected[ Index(((int)((P2 *)_this)->f), 2) ]))&&(((int)((P2 *)_this)->second)==((int)((P2 *)_this)->expected[ Index(((int)((P2 *)_this)->f), 2) ])))), "( !(whole)||((first==expected[f])&&(second==expected[f])))", II, tt, t);
S_292_0: /* 2 */
		((P2 *)_this)->first = 0;
#ifdef VAR_RANGES
		logval("Receiver:first", ((int)((P2 *)_this)->first));
#endif
		;
S_293_0: /* 2 */
		((P2 *)_this)->second = 0;
#ifdef VAR_RANGES
		logval("Receiver:second", ((int)((P2 *)_this)->second));
#endif
		;
		goto S_299_0;
S_299_0: /* 1 */

#if defined(C_States) && (HAS_TRACK==1)
		c_update((uchar *) &(now.c_state[0]));
#endif
		_m = 3; goto P999;

	case 30: // STATE 19 - blocks.pml:312 - [(!(whole))] (0:0:1 - 1)
		IfNotBlocked
		reached[2][19] = 1;
		if (!( !(((int)((P2 *)_this)->whole))))
			continue;
		if (TstOnly) return 1; /* TT */
		/* dead 1: whole */  (trpt+1)->bup.oval = ((P2 *)_this)->whole;
#ifdef HAS_CODE
		if (!readtrail)
#endif
			((P2 *)_this)->whole = 0;
		_m = 3; goto P999; /* 0 */
	case 31: // STATE 24 - blocks.pml:315 - [((expected[f]!=0))] (0:0:0 - 1)
		IfNotBlocked
		reached[2][24] = 1;
		if (!((((int)((P2 *)_this)->expected[ Index(((int)((P2 *)_this)->f), 2) ])!=0)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 32: // STATE 35 - blocks.pml:288 - [D_STEP288]
		if (!(((boq == -1 && (((int)((P2 *)_this)->number[ Index(((int)((P2 *)_this)->f), 2) ])>((int)now.released[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ])), 6) ])))) || (boq == -1 /* else */)))
			continue;

		reached[2][35] = 1;
		reached[2][t->st] = 1;
		reached[2][tt] = 1;

		if (TstOnly) return 1;

		sv_save();
		S_305_0: /* 2 */
S_302_0: /* 2 */
		if (!((((int)((P2 *)_this)->number[ Index(((int)((P2 *)_this)->f), 2) ])>((int)now.released[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ])), 6) ]))))
			goto S_305_1;
S_303_0: /* 2 */
		now.released[ Index(((((P2 *)_this)->me*2)+((P2 *)_this)->slot[ Index(((P2 *)_this)->f, 2) ]), 6) ] = ((int)((P2 *)_this)->number[ Index(((int)((P2 *)_this)->f), 2) ]);
#ifdef VAR_RANGES
		logval("released[((Receiver:me*2)+Receiver:slot[Receiver:f])]", ((int)now.released[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ])), 6) ]));
#endif
		;
		goto S_306_0;
S_305_1: /* 3 */
S_304_0: /* 2 */
		/* else */;
		goto S_306_0;
S_305_2: /* 3 */
		Uerror("blocking sel in d_step (nr.0, near line 289)");
S_306_0: /* 2 */
S_310_0: /* 2 */
S_307_0: /* 2 */
		if (!((((int)now.holding[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ])), 6) ])==((int)((P2 *)_this)->expected[ Index(((int)((P2 *)_this)->f), 2) ]))))
			goto S_310_1;
S_308_0: /* 2 */
		now.holding[ Index(((((P2 *)_this)->me*2)+((P2 *)_this)->slot[ Index(((P2 *)_this)->f, 2) ]), 6) ] = 0;
#ifdef VAR_RANGES
		logval("holding[((Receiver:me*2)+Receiver:slot[Receiver:f])]", ((int)now.holding[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ])), 6) ]));
#endif
		;
		goto S_311_0;
S_310_1: /* 3 */
S_309_0: /* 2 */
		/* else */;
		goto S_311_0;
S_310_2: /* 3 */
		Uerror("blocking sel in d_step (nr.1, near line 290)");
S_311_0: /* 2 */
		goto S_314_0;
S_314_0: /* 1 */

#if defined(C_States) && (HAS_TRACK==1)
		c_update((uchar *) &(now.c_state[0]));
#endif
		_m = 3; goto P999;

	case 33: // STATE 37 - blocks.pml:316 - [old_slot = slot[f]] (0:58:5 - 3)
		IfNotBlocked
		reached[2][37] = 1;
		(trpt+1)->bup.ovals = grab_ints(5);
		(trpt+1)->bup.ovals[0] = ((int)((P2 *)_this)->old_slot);
		((P2 *)_this)->old_slot = ((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ]);
#ifdef VAR_RANGES
		logval("Receiver:old_slot", ((int)((P2 *)_this)->old_slot));
#endif
		;
		/* merge: old_number = number[f](58, 38, 58) */
		reached[2][38] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P2 *)_this)->old_number);
		((P2 *)_this)->old_number = ((int)((P2 *)_this)->number[ Index(((int)((P2 *)_this)->f), 2) ]);
#ifdef VAR_RANGES
		logval("Receiver:old_number", ((int)((P2 *)_this)->old_number));
#endif
		;
		/* merge: slot[f] = 0(58, 39, 58) */
		reached[2][39] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ]);
		((P2 *)_this)->slot[ Index(((P2 *)_this)->f, 2) ] = 0;
#ifdef VAR_RANGES
		logval("Receiver:slot[Receiver:f]", ((int)((P2 *)_this)->slot[ Index(((int)((P2 *)_this)->f), 2) ]));
#endif
		;
		/* merge: number[f] = 0(58, 40, 58) */
		reached[2][40] = 1;
		(trpt+1)->bup.ovals[3] = ((int)((P2 *)_this)->number[ Index(((int)((P2 *)_this)->f), 2) ]);
		((P2 *)_this)->number[ Index(((P2 *)_this)->f, 2) ] = 0;
#ifdef VAR_RANGES
		logval("Receiver:number[Receiver:f]", ((int)((P2 *)_this)->number[ Index(((int)((P2 *)_this)->f), 2) ]));
#endif
		;
		/* merge: expected[f] = 0(58, 41, 58) */
		reached[2][41] = 1;
		(trpt+1)->bup.ovals[4] = ((int)((P2 *)_this)->expected[ Index(((int)((P2 *)_this)->f), 2) ]);
		((P2 *)_this)->expected[ Index(((P2 *)_this)->f, 2) ] = 0;
#ifdef VAR_RANGES
		logval("Receiver:expected[Receiver:f]", ((int)((P2 *)_this)->expected[ Index(((int)((P2 *)_this)->f), 2) ]));
#endif
		;
		/* merge: .(goto)(0, 59, 58) */
		reached[2][59] = 1;
		;
		_m = 3; goto P999; /* 5 */
	case 34: // STATE 43 - blocks.pml:317 - [((old_number!=0))] (0:0:0 - 1)
		IfNotBlocked
		reached[2][43] = 1;
		if (!((((int)((P2 *)_this)->old_number)!=0)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 35: // STATE 44 - blocks.pml:318 - [((old_number>released[((me*2)+old_slot)]))] (58:0:3 - 1)
		IfNotBlocked
		reached[2][44] = 1;
		if (!((((int)((P2 *)_this)->old_number)>((int)now.released[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->old_slot)), 6) ]))))
			continue;
		/* merge: released[((me*2)+old_slot)] = old_number(58, 45, 58) */
		reached[2][45] = 1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)now.released[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->old_slot)), 6) ]);
		now.released[ Index(((((P2 *)_this)->me*2)+((P2 *)_this)->old_slot), 6) ] = ((int)((P2 *)_this)->old_number);
#ifdef VAR_RANGES
		logval("released[((Receiver:me*2)+Receiver:old_slot)]", ((int)now.released[ Index(((((int)((P2 *)_this)->me)*2)+((int)((P2 *)_this)->old_slot)), 6) ]));
#endif
		;
		/* merge: .(goto)(58, 48, 58) */
		reached[2][48] = 1;
		;
		/* merge: old_slot = 0(58, 49, 58) */
		reached[2][49] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P2 *)_this)->old_slot);
		((P2 *)_this)->old_slot = 0;
#ifdef VAR_RANGES
		logval("Receiver:old_slot", ((int)((P2 *)_this)->old_slot));
#endif
		;
		/* merge: old_number = 0(58, 50, 58) */
		reached[2][50] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P2 *)_this)->old_number);
		((P2 *)_this)->old_number = 0;
#ifdef VAR_RANGES
		logval("Receiver:old_number", ((int)((P2 *)_this)->old_number));
#endif
		;
		/* merge: .(goto)(0, 59, 58) */
		reached[2][59] = 1;
		;
		_m = 3; goto P999; /* 5 */
	case 36: // STATE 49 - blocks.pml:319 - [old_slot = 0] (0:58:2 - 3)
		IfNotBlocked
		reached[2][49] = 1;
		(trpt+1)->bup.ovals = grab_ints(2);
		(trpt+1)->bup.ovals[0] = ((int)((P2 *)_this)->old_slot);
		((P2 *)_this)->old_slot = 0;
#ifdef VAR_RANGES
		logval("Receiver:old_slot", ((int)((P2 *)_this)->old_slot));
#endif
		;
		/* merge: old_number = 0(58, 50, 58) */
		reached[2][50] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P2 *)_this)->old_number);
		((P2 *)_this)->old_number = 0;
#ifdef VAR_RANGES
		logval("Receiver:old_number", ((int)((P2 *)_this)->old_number));
#endif
		;
		/* merge: .(goto)(0, 59, 58) */
		reached[2][59] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 37: // STATE 52 - blocks.pml:320 - [f = (1-f)] (0:0:1 - 1)
		IfNotBlocked
		reached[2][52] = 1;
		(trpt+1)->bup.oval = ((int)((P2 *)_this)->f);
		((P2 *)_this)->f = (1-((int)((P2 *)_this)->f));
#ifdef VAR_RANGES
		logval("Receiver:f", ((int)((P2 *)_this)->f));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 38: // STATE 53 - blocks.pml:321 - [((((over&&(expected[0]==0))&&(expected[1]==0))&&empty(ring[me])))] (62:0:1 - 1)
		IfNotBlocked
		reached[2][53] = 1;
		if (!((((((int)now.over)&&(((int)((P2 *)_this)->expected[0])==0))&&(((int)((P2 *)_this)->expected[1])==0))&&(q_len(now.ring[ Index(((int)((P2 *)_this)->me), 3) ])==0))))
			continue;
		/* merge: rests[me] = 1(62, 54, 62) */
		reached[2][54] = 1;
		(trpt+1)->bup.oval = ((int)now.rests[ Index(((int)((P2 *)_this)->me), 3) ]);
		now.rests[ Index(((P2 *)_this)->me, 3) ] = 1;
#ifdef VAR_RANGES
		logval("rests[Receiver:me]", ((int)now.rests[ Index(((int)((P2 *)_this)->me), 3) ]));
#endif
		;
		/* merge: goto end(62, 55, 62) */
		reached[2][55] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 39: // STATE 61 - blocks.pml:324 - [gone[me] = 1] (0:0:1 - 4)
		IfNotBlocked
		reached[2][61] = 1;
		(trpt+1)->bup.oval = ((int)now.gone[ Index(((int)((P2 *)_this)->me), 3) ]);
		now.gone[ Index(((P2 *)_this)->me, 3) ] = 1;
#ifdef VAR_RANGES
		logval("gone[Receiver:me]", ((int)now.gone[ Index(((int)((P2 *)_this)->me), 3) ]));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 40: // STATE 63 - blocks.pml:327 - [-end-] (0:0:0 - 1)
		IfNotBlocked
		reached[2][63] = 1;
		if (!delproc(1, II)) continue;
		_m = 3; goto P999; /* 0 */

		 /* PROC StoreBuffer */
	case 41: // STATE 1 - blocks.pml:253 - [((pending_index!=255))] (6:0:3 - 1)
		IfNotBlocked
		reached[1][1] = 1;
		if (!((((int)now.pending_index)!=255)))
			continue;
		/* merge: given_up[pending_index] = pending_id(6, 2, 6) */
		reached[1][2] = 1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)now.given_up[ Index(((int)now.pending_index), 2) ]);
		now.given_up[ Index(now.pending_index, 2) ] = ((int)now.pending_id);
#ifdef VAR_RANGES
		logval("given_up[pending_index]", ((int)now.given_up[ Index(((int)now.pending_index), 2) ]));
#endif
		;
		/* merge: pending_index = 255(6, 3, 6) */
		reached[1][3] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.pending_index);
		now.pending_index = 255;
#ifdef VAR_RANGES
		logval("pending_index", ((int)now.pending_index));
#endif
		;
		/* merge: pending_id = 0(6, 4, 6) */
		reached[1][4] = 1;
		(trpt+1)->bup.ovals[2] = ((int)now.pending_id);
		now.pending_id = 0;
#ifdef VAR_RANGES
		logval("pending_id", ((int)now.pending_id));
#endif
		;
		/* merge: .(goto)(0, 7, 6) */
		reached[1][7] = 1;
		;
		_m = 3; goto P999; /* 4 */
	case 42: // STATE 9 - blocks.pml:255 - [-end-] (0:0:0 - 1)
		IfNotBlocked
		reached[1][9] = 1;
		if (!delproc(1, II)) continue;
		_m = 3; goto P999; /* 0 */

		 /* PROC Broadcaster */
	case 43: // STATE 1 - blocks.pml:158 - [((!(over)&&(allocations<4)))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][1] = 1;
		if (!(( !(((int)now.over))&&(((int)now.allocations)<4))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 44: // STATE 2 - blocks.pml:147 - [b = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[0][2] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 45: // STATE 3 - blocks.pml:147 - [((b<(2-1)))] (6:0:1 - 1)
		IfNotBlocked
		reached[0][3] = 1;
		if (!((((int)((P0 *)_this)->b)<(2-1))))
			continue;
		/* merge: b = (b+1)(0, 4, 6) */
		reached[0][4] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 7, 6) */
		reached[0][7] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 46: // STATE 10 - blocks.pml:160 - [(!(used[b]))] (266:0:5 - 1)
		IfNotBlocked
		reached[0][10] = 1;
		if (!( !(((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]))))
			continue;
		/* merge: allocations = (allocations+1)(266, 11, 266) */
		reached[0][11] = 1;
		(trpt+1)->bup.ovals = grab_ints(5);
		(trpt+1)->bup.ovals[0] = ((int)now.allocations);
		now.allocations = (((int)now.allocations)+1);
#ifdef VAR_RANGES
		logval("allocations", ((int)now.allocations));
#endif
		;
		/* merge: used[b] = 1(266, 12, 266) */
		reached[0][12] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.used[ Index(((P0 *)_this)->b, 2) ] = 1;
#ifdef VAR_RANGES
		logval("used[Broadcaster:b]", ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: owned[b] = 1(266, 13, 266) */
		reached[0][13] = 1;
		(trpt+1)->bup.ovals[2] = ((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.owned[ Index(((P0 *)_this)->b, 2) ] = 1;
#ifdef VAR_RANGES
		logval("owned[Broadcaster:b]", ((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: stamp[b] = allocations(266, 14, 266) */
		reached[0][14] = 1;
		(trpt+1)->bup.ovals[3] = ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = ((int)now.allocations);
#ifdef VAR_RANGES
		logval("stamp[Broadcaster:b]", ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: .(goto)(266, 17, 266) */
		reached[0][17] = 1;
		;
		/* merge: b = 0(266, 18, 266) */
		reached[0][18] = 1;
		(trpt+1)->bup.ovals[4] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 7 */
	case 47: // STATE 17 - blocks.pml:162 - [.(goto)] (0:266:1 - 2)
		IfNotBlocked
		reached[0][17] = 1;
		;
		/* merge: b = 0(266, 18, 266) */
		reached[0][18] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 48: // STATE 20 - blocks.pml:164 - [(!(over))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][20] = 1;
		if (!( !(((int)now.over))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 49: // STATE 21 - blocks.pml:147 - [b = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[0][21] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 50: // STATE 22 - blocks.pml:147 - [((b<(2-1)))] (25:0:1 - 1)
		IfNotBlocked
		reached[0][22] = 1;
		if (!((((int)((P0 *)_this)->b)<(2-1))))
			continue;
		/* merge: b = (b+1)(0, 23, 25) */
		reached[0][23] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 26, 25) */
		reached[0][26] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 51: // STATE 29 - blocks.pml:166 - [(((owned[b]&&(sequence[b]==0))&&(written[b]<2)))] (266:0:3 - 1)
		IfNotBlocked
		reached[0][29] = 1;
		if (!(((((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ])&&(((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ])==0))&&(((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ])<2))))
			continue;
		/* merge: assert(((((gone[0]||(attached[( ((0==1)) ? (1) : (0) )]!=0))||flagged[( ((0==1)) ? (1) : (0) )])||(holding[((0*2)+b)]==0))&&(((gone[2]||(attached[( ((2==1)) ? (1) : (0) )]!=2))||flagged[( ((2==1)) ? (1) : (0) )])||(holding[((2*2)+b)]==0))))(266, 30, 266) */
		reached[0][30] = 1;
		spin_assert(((((((int)now.gone[0])||(((int)now.attached[ Index(( ((0==1)) ? (1) : (0) ), 2) ])!=0))||((int)now.flagged[ Index(( ((0==1)) ? (1) : (0) ), 2) ]))||(((int)now.holding[ Index(((0*2)+((int)((P0 *)_this)->b)), 6) ])==0))&&(((((int)now.gone[2])||(((int)now.attached[ Index(( ((2==1)) ? (1) : (0) ), 2) ])!=2))||((int)now.flagged[ Index(( ((2==1)) ? (1) : (0) ), 2) ]))||(((int)now.holding[ Index(((2*2)+((int)((P0 *)_this)->b)), 6) ])==0))), "((((gone[0]||(attached[( ((0==1)) ? (1) : (0) )]!=0))||flagged[( ((0==1)) ? (1) : (0) )])||(holding[((0*2)+b)]==0))&&(((gone[2]||(attached[( ((2==1)) ? (1) : (0) )]!=2))||flagged[( ((2==1)) ? (1) : (0) )])||(holding[((2*2)+b)]==0)))", II, tt, t);
		/* merge: memory[((b*2)+written[b])] = stamp[b](266, 31, 266) */
		reached[0][31] = 1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)now.memory[ Index(((((int)((P0 *)_this)->b)*2)+((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ])), 4) ]);
		now.memory[ Index(((((P0 *)_this)->b*2)+now.written[ Index(((P0 *)_this)->b, 2) ]), 4) ] = ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]);
#ifdef VAR_RANGES
		logval("memory[((Broadcaster:b*2)+written[Broadcaster:b])]", ((int)now.memory[ Index(((((int)((P0 *)_this)->b)*2)+((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ])), 4) ]));
#endif
		;
		/* merge: written[b] = (written[b]+1)(266, 32, 266) */
		reached[0][32] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.written[ Index(((P0 *)_this)->b, 2) ] = (((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ])+1);
#ifdef VAR_RANGES
		logval("written[Broadcaster:b]", ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: .(goto)(266, 35, 266) */
		reached[0][35] = 1;
		;
		/* merge: b = 0(266, 36, 266) */
		reached[0][36] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 6 */
	case 52: // STATE 35 - blocks.pml:173 - [.(goto)] (0:266:1 - 2)
		IfNotBlocked
		reached[0][35] = 1;
		;
		/* merge: b = 0(266, 36, 266) */
		reached[0][36] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 53: // STATE 38 - blocks.pml:175 - [(!(over))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][38] = 1;
		if (!( !(((int)now.over))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 54: // STATE 39 - blocks.pml:147 - [b = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[0][39] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 55: // STATE 42 - blocks.pml:147 - [goto :b3] (0:51:1 - 1)
		IfNotBlocked
		reached[0][42] = 1;
		;
		/* merge: i = 0(51, 47, 51) */
		reached[0][47] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 52, 51) */
		reached[0][52] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 56: // STATE 40 - blocks.pml:147 - [((b<(2-1)))] (43:0:1 - 1)
		IfNotBlocked
		reached[0][40] = 1;
		if (!((((int)((P0 *)_this)->b)<(2-1))))
			continue;
		/* merge: b = (b+1)(0, 41, 43) */
		reached[0][41] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 44, 43) */
		reached[0][44] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 57: // STATE 47 - blocks.pml:175 - [i = 0] (0:51:1 - 2)
		IfNotBlocked
		reached[0][47] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 52, 51) */
		reached[0][52] = 1;
		;
		_m = 3; goto P999; /* 1 */
	case 58: // STATE 48 - blocks.pml:175 - [((i<(2-1)))] (51:0:1 - 1)
		IfNotBlocked
		reached[0][48] = 1;
		if (!((((int)((P0 *)_this)->i)<(2-1))))
			continue;
		/* merge: i = (i+1)(0, 49, 51) */
		reached[0][49] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = (((int)((P0 *)_this)->i)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 52, 51) */
		reached[0][52] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 59: // STATE 54 - blocks.pml:177 - [(((owned[b]&&(written[b]==2))&&(((attached[i]!=255)&&!(flagged[i]))&&!(sent[((b*2)+i)]))))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][54] = 1;
		if (!(((((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ])&&(((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ])==2))&&(((((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])!=255)&& !(((int)now.flagged[ Index(((int)((P0 *)_this)->i), 2) ])))&& !(((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]))))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 60: // STATE 55 - blocks.pml:108 - [((sequence[b]==0))] (68:0:6 - 1)
		IfNotBlocked
		reached[0][55] = 1;
		if (!((((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ])==0)))
			continue;
		/* merge: publications = (publications+1)(68, 56, 68) */
		reached[0][56] = 1;
		(trpt+1)->bup.ovals = grab_ints(6);
		(trpt+1)->bup.ovals[0] = ((int)now.publications);
		now.publications = (((int)now.publications)+1);
#ifdef VAR_RANGES
		logval("publications", ((int)now.publications));
#endif
		;
		/* merge: sequence[b] = publications(68, 57, 68) */
		reached[0][57] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = ((int)now.publications);
#ifdef VAR_RANGES
		logval("sequence[Broadcaster:b]", ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: .(goto)(68, 60, 68) */
		reached[0][60] = 1;
		;
		/* merge: r = attached[i](68, 61, 68) */
		reached[0][61] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P0 *)_this)->r);
		((P0 *)_this)->r = ((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ]);
#ifdef VAR_RANGES
		logval("Broadcaster:r", ((int)((P0 *)_this)->r));
#endif
		;
		/* merge: sent[((b*2)+i)] = 1(68, 62, 68) */
		reached[0][62] = 1;
		(trpt+1)->bup.ovals[3] = ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]);
		now.sent[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 1;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
		/* merge: holding[((r*2)+b)] = stamp[b](68, 63, 68) */
		reached[0][63] = 1;
		(trpt+1)->bup.ovals[4] = ((int)now.holding[ Index(((((int)((P0 *)_this)->r)*2)+((int)((P0 *)_this)->b)), 6) ]);
		now.holding[ Index(((((P0 *)_this)->r*2)+((P0 *)_this)->b), 6) ] = ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]);
#ifdef VAR_RANGES
		logval("holding[((Broadcaster:r*2)+Broadcaster:b)]", ((int)now.holding[ Index(((((int)((P0 *)_this)->r)*2)+((int)((P0 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: holders[((b*2)+i)] = 1(68, 64, 68) */
		reached[0][64] = 1;
		(trpt+1)->bup.ovals[5] = ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]);
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 1;
#ifdef VAR_RANGES
		logval("holders[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
		_m = 3; goto P999; /* 7 */
	case 61: // STATE 61 - blocks.pml:109 - [r = attached[i]] (0:68:4 - 3)
		IfNotBlocked
		reached[0][61] = 1;
		(trpt+1)->bup.ovals = grab_ints(4);
		(trpt+1)->bup.ovals[0] = ((int)((P0 *)_this)->r);
		((P0 *)_this)->r = ((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ]);
#ifdef VAR_RANGES
		logval("Broadcaster:r", ((int)((P0 *)_this)->r));
#endif
		;
		/* merge: sent[((b*2)+i)] = 1(68, 62, 68) */
		reached[0][62] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]);
		now.sent[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 1;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
		/* merge: holding[((r*2)+b)] = stamp[b](68, 63, 68) */
		reached[0][63] = 1;
		(trpt+1)->bup.ovals[2] = ((int)now.holding[ Index(((((int)((P0 *)_this)->r)*2)+((int)((P0 *)_this)->b)), 6) ]);
		now.holding[ Index(((((P0 *)_this)->r*2)+((P0 *)_this)->b), 6) ] = ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]);
#ifdef VAR_RANGES
		logval("holding[((Broadcaster:r*2)+Broadcaster:b)]", ((int)now.holding[ Index(((((int)((P0 *)_this)->r)*2)+((int)((P0 *)_this)->b)), 6) ]));
#endif
		;
		/* merge: holders[((b*2)+i)] = 1(68, 64, 68) */
		reached[0][64] = 1;
		(trpt+1)->bup.ovals[3] = ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]);
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 1;
#ifdef VAR_RANGES
		logval("holders[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
		_m = 3; goto P999; /* 3 */
	case 62: // STATE 65 - blocks.pml:115 - [(((r!=1)&&nfull(ring[r])))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][65] = 1;
		if (!(((((int)((P0 *)_this)->r)!=1)&&(!q_full(now.ring[ Index(((int)((P0 *)_this)->r), 3) ])))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 63: // STATE 66 - blocks.pml:115 - [ring[r]!b,sequence[b],stamp[b]] (266:0:3 - 1)
		IfNotBlocked
		reached[0][66] = 1;
		if (q_full(now.ring[ Index(((int)((P0 *)_this)->r), 3) ]))
			continue;
#ifdef HAS_CODE
		if (readtrail && gui) {
			char simtmp[64];
			sprintf(simvals, "%d!", now.ring[ Index(((int)((P0 *)_this)->r), 3) ]);
		sprintf(simtmp, "%d", ((int)((P0 *)_this)->b)); strcat(simvals, simtmp);		strcat(simvals, ",");
		sprintf(simtmp, "%d", ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ])); strcat(simvals, simtmp);		strcat(simvals, ",");
		sprintf(simtmp, "%d", ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ])); strcat(simvals, simtmp);		}
#endif
		
		qsend(now.ring[ Index(((int)((P0 *)_this)->r), 3) ], 0, ((int)((P0 *)_this)->b), ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]), ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]), 3);
		/* merge: .(goto)(266, 69, 266) */
		reached[0][69] = 1;
		;
		/* merge: r = 0(266, 70, 266) */
		reached[0][70] = 1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)((P0 *)_this)->r);
		((P0 *)_this)->r = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:r", ((int)((P0 *)_this)->r));
#endif
		;
		/* merge: .(goto)(266, 74, 266) */
		reached[0][74] = 1;
		;
		/* merge: b = 0(266, 75, 266) */
		reached[0][75] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: i = 0(266, 76, 266) */
		reached[0][76] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 2; goto P999; /* 6 */
	case 64: // STATE 70 - blocks.pml:116 - [r = 0] (0:266:3 - 3)
		IfNotBlocked
		reached[0][70] = 1;
		(trpt+1)->bup.ovals = grab_ints(3);
		(trpt+1)->bup.ovals[0] = ((int)((P0 *)_this)->r);
		((P0 *)_this)->r = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:r", ((int)((P0 *)_this)->r));
#endif
		;
		/* merge: .(goto)(266, 74, 266) */
		reached[0][74] = 1;
		;
		/* merge: b = 0(266, 75, 266) */
		reached[0][75] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: i = 0(266, 76, 266) */
		reached[0][76] = 1;
		(trpt+1)->bup.ovals[2] = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 4 */
	case 65: // STATE 75 - blocks.pml:179 - [b = 0] (0:266:2 - 3)
		IfNotBlocked
		reached[0][75] = 1;
		(trpt+1)->bup.ovals = grab_ints(2);
		(trpt+1)->bup.ovals[0] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: i = 0(266, 76, 266) */
		reached[0][76] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 66: // STATE 78 - blocks.pml:181 - [(!(over))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][78] = 1;
		if (!( !(((int)now.over))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 67: // STATE 79 - blocks.pml:147 - [b = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[0][79] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 68: // STATE 80 - blocks.pml:147 - [((b<(2-1)))] (83:0:1 - 1)
		IfNotBlocked
		reached[0][80] = 1;
		if (!((((int)((P0 *)_this)->b)<(2-1))))
			continue;
		/* merge: b = (b+1)(0, 81, 83) */
		reached[0][81] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 84, 83) */
		reached[0][84] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 69: // STATE 87 - blocks.pml:183 - [((owned[b]&&((written[b]==2)||(written[b]==0))))] (99:0:1 - 1)
		IfNotBlocked
		reached[0][87] = 1;
		if (!((((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ])&&((((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ])==2)||(((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ])==0)))))
			continue;
		/* merge: owned[b] = 0(0, 88, 99) */
		reached[0][88] = 1;
		(trpt+1)->bup.oval = ((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.owned[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("owned[Broadcaster:b]", ((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		_m = 3; goto P999; /* 1 */
	case 70: // STATE 89 - blocks.pml:68 - [((((used[b]&&!(owned[b]))&&!(holders[((b*2)+0)]))&&!(holders[((b*2)+1)])))] (266:0:7 - 1)
		IfNotBlocked
		reached[0][89] = 1;
		if (!((((((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ])&& !(((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ])))))
			continue;
		/* merge: used[b] = 0(266, 90, 266) */
		reached[0][90] = 1;
		(trpt+1)->bup.ovals = grab_ints(7);
		(trpt+1)->bup.ovals[0] = ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.used[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("used[Broadcaster:b]", ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: sequence[b] = 0(266, 91, 266) */
		reached[0][91] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("sequence[Broadcaster:b]", ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: stamp[b] = 0(266, 92, 266) */
		reached[0][92] = 1;
		(trpt+1)->bup.ovals[2] = ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("stamp[Broadcaster:b]", ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: written[b] = 0(266, 93, 266) */
		reached[0][93] = 1;
		(trpt+1)->bup.ovals[3] = ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.written[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("written[Broadcaster:b]", ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: sent[((b*2)+0)] = 0(266, 94, 266) */
		reached[0][94] = 1;
		(trpt+1)->bup.ovals[4] = ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ]);
		now.sent[ Index(((((P0 *)_this)->b*2)+0), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+0)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ]));
#endif
		;
		/* merge: sent[((b*2)+1)] = 0(266, 95, 266) */
		reached[0][95] = 1;
		(trpt+1)->bup.ovals[5] = ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ]);
		now.sent[ Index(((((P0 *)_this)->b*2)+1), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+1)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ]));
#endif
		;
		/* merge: .(goto)(266, 98, 266) */
		reached[0][98] = 1;
		;
		/* merge: .(goto)(266, 102, 266) */
		reached[0][102] = 1;
		;
		/* merge: b = 0(266, 103, 266) */
		reached[0][103] = 1;
		(trpt+1)->bup.ovals[6] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 10 */
	case 71: // STATE 102 - blocks.pml:187 - [.(goto)] (0:266:1 - 4)
		IfNotBlocked
		reached[0][102] = 1;
		;
		/* merge: b = 0(266, 103, 266) */
		reached[0][103] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 72: // STATE 105 - blocks.pml:147 - [b = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[0][105] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 73: // STATE 108 - blocks.pml:147 - [goto :b6] (0:117:1 - 1)
		IfNotBlocked
		reached[0][108] = 1;
		;
		/* merge: i = 0(117, 113, 117) */
		reached[0][113] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 118, 117) */
		reached[0][118] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 74: // STATE 106 - blocks.pml:147 - [((b<(2-1)))] (109:0:1 - 1)
		IfNotBlocked
		reached[0][106] = 1;
		if (!((((int)((P0 *)_this)->b)<(2-1))))
			continue;
		/* merge: b = (b+1)(0, 107, 109) */
		reached[0][107] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: .(goto)(0, 110, 109) */
		reached[0][110] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 75: // STATE 113 - blocks.pml:199 - [i = 0] (0:117:1 - 2)
		IfNotBlocked
		reached[0][113] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 118, 117) */
		reached[0][118] = 1;
		;
		_m = 3; goto P999; /* 1 */
	case 76: // STATE 114 - blocks.pml:199 - [((i<(2-1)))] (117:0:1 - 1)
		IfNotBlocked
		reached[0][114] = 1;
		if (!((((int)((P0 *)_this)->i)<(2-1))))
			continue;
		/* merge: i = (i+1)(0, 115, 117) */
		reached[0][115] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = (((int)((P0 *)_this)->i)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 118, 117) */
		reached[0][118] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 77: // STATE 120 - blocks.pml:201 - [(((attached[i]!=255)&&(holders[((b*2)+i)]&&(released[((attached[i]*2)+b)]==sequence[b]))))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][120] = 1;
		if (!(((((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])!=255)&&(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ])&&(((int)now.released[ Index(((((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])*2)+((int)((P0 *)_this)->b)), 6) ])==((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]))))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 78: // STATE 121 - blocks.pml:143 - [holders[((b*2)+i)] = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[0][121] = 1;
		(trpt+1)->bup.oval = ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]);
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 0;
#ifdef VAR_RANGES
		logval("holders[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 79: // STATE 122 - blocks.pml:68 - [((((used[b]&&!(owned[b]))&&!(holders[((b*2)+0)]))&&!(holders[((b*2)+1)])))] (266:0:8 - 1)
		IfNotBlocked
		reached[0][122] = 1;
		if (!((((((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ])&& !(((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ])))))
			continue;
		/* merge: used[b] = 0(266, 123, 266) */
		reached[0][123] = 1;
		(trpt+1)->bup.ovals = grab_ints(8);
		(trpt+1)->bup.ovals[0] = ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.used[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("used[Broadcaster:b]", ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: sequence[b] = 0(266, 124, 266) */
		reached[0][124] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("sequence[Broadcaster:b]", ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: stamp[b] = 0(266, 125, 266) */
		reached[0][125] = 1;
		(trpt+1)->bup.ovals[2] = ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("stamp[Broadcaster:b]", ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: written[b] = 0(266, 126, 266) */
		reached[0][126] = 1;
		(trpt+1)->bup.ovals[3] = ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]);
		now.written[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("written[Broadcaster:b]", ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
		/* merge: sent[((b*2)+0)] = 0(266, 127, 266) */
		reached[0][127] = 1;
		(trpt+1)->bup.ovals[4] = ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ]);
		now.sent[ Index(((((P0 *)_this)->b*2)+0), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+0)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ]));
#endif
		;
		/* merge: sent[((b*2)+1)] = 0(266, 128, 266) */
		reached[0][128] = 1;
		(trpt+1)->bup.ovals[5] = ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ]);
		now.sent[ Index(((((P0 *)_this)->b*2)+1), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+1)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ]));
#endif
		;
		/* merge: .(goto)(266, 131, 266) */
		reached[0][131] = 1;
		;
		/* merge: .(goto)(266, 136, 266) */
		reached[0][136] = 1;
		;
		/* merge: b = 0(266, 137, 266) */
		reached[0][137] = 1;
		(trpt+1)->bup.ovals[6] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: i = 0(266, 138, 266) */
		reached[0][138] = 1;
		(trpt+1)->bup.ovals[7] = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 11 */
	case 80: // STATE 137 - blocks.pml:203 - [b = 0] (0:266:2 - 5)
		IfNotBlocked
		reached[0][137] = 1;
		(trpt+1)->bup.ovals = grab_ints(2);
		(trpt+1)->bup.ovals[0] = ((int)((P0 *)_this)->b);
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		/* merge: i = 0(266, 138, 266) */
		reached[0][138] = 1;
		(trpt+1)->bup.ovals[1] = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 81: // STATE 140 - blocks.pml:205 - [(!(over))] (145:0:1 - 1)
		IfNotBlocked
		reached[0][140] = 1;
		if (!( !(((int)now.over))))
			continue;
		/* merge: i = 0(0, 141, 145) */
		reached[0][141] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 146, 145) */
		reached[0][146] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 82: // STATE 142 - blocks.pml:205 - [((i<(2-1)))] (145:0:1 - 1)
		IfNotBlocked
		reached[0][142] = 1;
		if (!((((int)((P0 *)_this)->i)<(2-1))))
			continue;
		/* merge: i = (i+1)(0, 143, 145) */
		reached[0][143] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = (((int)((P0 *)_this)->i)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 146, 145) */
		reached[0][146] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 83: // STATE 148 - blocks.pml:207 - [((((attached[i]!=255)&&!(flagged[i]))&&(holders[((0*2)+i)]||holders[((1*2)+i)])))] (187:0:1 - 1)
		IfNotBlocked
		reached[0][148] = 1;
		if (!((((((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])!=255)&& !(((int)now.flagged[ Index(((int)((P0 *)_this)->i), 2) ])))&&(((int)now.holders[ Index(((0*2)+((int)((P0 *)_this)->i)), 4) ])||((int)now.holders[ Index(((1*2)+((int)((P0 *)_this)->i)), 4) ])))))
			continue;
		/* merge: flagged[i] = 1(187, 149, 187) */
		reached[0][149] = 1;
		(trpt+1)->bup.oval = ((int)now.flagged[ Index(((int)((P0 *)_this)->i), 2) ]);
		now.flagged[ Index(((P0 *)_this)->i, 2) ] = 1;
#ifdef VAR_RANGES
		logval("flagged[Broadcaster:i]", ((int)now.flagged[ Index(((int)((P0 *)_this)->i), 2) ]));
#endif
		;
		/* merge: .(goto)(187, 153, 187) */
		reached[0][153] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 84: // STATE 153 - blocks.pml:209 - [.(goto)] (0:187:0 - 2)
		IfNotBlocked
		reached[0][153] = 1;
		;
		_m = 3; goto P999; /* 0 */
	case 85: // STATE 151 - blocks.pml:208 - [i = 255] (0:187:1 - 1)
		IfNotBlocked
		reached[0][151] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 255;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(187, 153, 187) */
		reached[0][153] = 1;
		;
		_m = 3; goto P999; /* 1 */
	case 86: // STATE 155 - blocks.pml:211 - [((i!=255))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][155] = 1;
		if (!((((int)((P0 *)_this)->i)!=255)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 87: // STATE 156 - blocks.pml:76 - [((pending_index==255))] (161:0:2 - 1)
		IfNotBlocked
		reached[0][156] = 1;
		if (!((((int)now.pending_index)==255)))
			continue;
		/* merge: pending_index = i(161, 157, 161) */
		reached[0][157] = 1;
		(trpt+1)->bup.ovals = grab_ints(2);
		(trpt+1)->bup.ovals[0] = ((int)now.pending_index);
		now.pending_index = ((int)((P0 *)_this)->i);
#ifdef VAR_RANGES
		logval("pending_index", ((int)now.pending_index));
#endif
		;
		/* merge: pending_id = (attached[i]+1)(161, 158, 161) */
		reached[0][158] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.pending_id);
		now.pending_id = (((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])+1);
#ifdef VAR_RANGES
		logval("pending_id", ((int)now.pending_id));
#endif
		;
		_m = 3; goto P999; /* 2 */
	case 88: // STATE 160 - blocks.pml:62 - [((pending_index==255))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][160] = 1;
		if (!((((int)now.pending_index)==255)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 89: // STATE 184 - blocks.pml:79 - [D_STEP79]
		IfNotBlocked

		reached[0][184] = 1;
		reached[0][t->st] = 1;
		reached[0][tt] = 1;

		if (TstOnly) return 1;

		sv_save();
		S_161_0: /* 2 */
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
S_180_0: /* 2 */
S_179_0: /* 2 */
S_162_0: /* 2 */
		if (!((((int)((P0 *)_this)->b)<2)))
			goto S_179_1;
S_163_0: /* 2 */
		now.holding[ Index(((now.attached[ Index(((P0 *)_this)->i, 2) ]*2)+((P0 *)_this)->b), 6) ] = 0;
#ifdef VAR_RANGES
		logval("holding[((attached[Broadcaster:i]*2)+Broadcaster:b)]", ((int)now.holding[ Index(((((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])*2)+((int)((P0 *)_this)->b)), 6) ]));
#endif
		;
S_164_0: /* 2 */
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 0;
#ifdef VAR_RANGES
		logval("holders[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
S_175_0: /* 2 */
S_173_0: /* 2 */
S_165_0: /* 2 */
		if (!((((((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ])&& !(((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ])))))
			goto S_173_1;
S_166_0: /* 2 */
		now.used[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("used[Broadcaster:b]", ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_167_0: /* 2 */
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("sequence[Broadcaster:b]", ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_168_0: /* 2 */
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("stamp[Broadcaster:b]", ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_169_0: /* 2 */
		now.written[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("written[Broadcaster:b]", ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_170_0: /* 2 */
		now.sent[ Index(((((P0 *)_this)->b*2)+0), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+0)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ]));
#endif
		;
S_171_0: /* 2 */
		now.sent[ Index(((((P0 *)_this)->b*2)+1), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+1)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ]));
#endif
		;
		goto S_174_0;
S_173_1: /* 3 */
S_172_0: /* 2 */
		/* else */;
		goto S_174_0;
S_173_2: /* 3 */
		Uerror("blocking sel in d_step (nr.2, near line 67)");
S_174_0: /* 2 */
		goto S_176_0;
S_176_0: /* 2 */
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		goto S_180_0; /* ';' */
S_179_1: /* 3 */
S_177_0: /* 2 */
		/* else */;
S_178_0: /* 2 */
		goto S_181_0;	/* 'goto' */
S_179_2: /* 3 */
		Uerror("blocking sel in d_step (nr.3, near line 81)");
S_181_0: /* 2 */
		goto S_182_0;	/* 'break' */
S_182_0: /* 2 */
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		goto S_187_0;
S_187_0: /* 1 */

#if defined(C_States) && (HAS_TRACK==1)
		c_update((uchar *) &(now.c_state[0]));
#endif
		_m = 3; goto P999;

	case 90: // STATE 189 - blocks.pml:213 - [i = 0] (0:266:1 - 3)
		IfNotBlocked
		reached[0][189] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 1 */
	case 91: // STATE 190 - blocks.pml:216 - [i = 0] (0:0:1 - 1)
		IfNotBlocked
		reached[0][190] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		_m = 3; goto P999; /* 0 */
	case 92: // STATE 191 - blocks.pml:216 - [((i<(2-1)))] (194:0:1 - 1)
		IfNotBlocked
		reached[0][191] = 1;
		if (!((((int)((P0 *)_this)->i)<(2-1))))
			continue;
		/* merge: i = (i+1)(0, 192, 194) */
		reached[0][192] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = (((int)((P0 *)_this)->i)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 195, 194) */
		reached[0][195] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 93: // STATE 197 - blocks.pml:218 - [(((attached[i]!=255)&&(flagged[i]||gone[attached[i]])))] (250:0:0 - 1)
		IfNotBlocked
		reached[0][197] = 1;
		if (!(((((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])!=255)&&(((int)now.flagged[ Index(((int)((P0 *)_this)->i), 2) ])||((int)now.gone[ Index(((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ]), 3) ])))))
			continue;
		/* merge: .(goto)(250, 201, 250) */
		reached[0][201] = 1;
		;
		_m = 3; goto P999; /* 1 */
	case 94: // STATE 201 - blocks.pml:220 - [.(goto)] (0:250:0 - 2)
		IfNotBlocked
		reached[0][201] = 1;
		;
		_m = 3; goto P999; /* 0 */
	case 95: // STATE 199 - blocks.pml:219 - [i = 255] (0:250:1 - 1)
		IfNotBlocked
		reached[0][199] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 255;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(250, 201, 250) */
		reached[0][201] = 1;
		;
		_m = 3; goto P999; /* 1 */
	case 96: // STATE 203 - blocks.pml:222 - [((i!=255))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][203] = 1;
		if (!((((int)((P0 *)_this)->i)!=255)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 97: // STATE 204 - blocks.pml:76 - [((pending_index==255))] (209:0:2 - 1)
		IfNotBlocked
		reached[0][204] = 1;
		if (!((((int)now.pending_index)==255)))
			continue;
		/* merge: pending_index = i(209, 205, 209) */
		reached[0][205] = 1;
		(trpt+1)->bup.ovals = grab_ints(2);
		(trpt+1)->bup.ovals[0] = ((int)now.pending_index);
		now.pending_index = ((int)((P0 *)_this)->i);
#ifdef VAR_RANGES
		logval("pending_index", ((int)now.pending_index));
#endif
		;
		/* merge: pending_id = (attached[i]+1)(209, 206, 209) */
		reached[0][206] = 1;
		(trpt+1)->bup.ovals[1] = ((int)now.pending_id);
		now.pending_id = (((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])+1);
#ifdef VAR_RANGES
		logval("pending_id", ((int)now.pending_id));
#endif
		;
		_m = 3; goto P999; /* 2 */
	case 98: // STATE 208 - blocks.pml:62 - [((pending_index==255))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][208] = 1;
		if (!((((int)now.pending_index)==255)))
			continue;
		_m = 3; goto P999; /* 0 */
	case 99: // STATE 232 - blocks.pml:79 - [D_STEP79]
		IfNotBlocked

		reached[0][232] = 1;
		reached[0][t->st] = 1;
		reached[0][tt] = 1;

		if (TstOnly) return 1;

		sv_save();
		S_209_0: /* 2 */
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
S_228_0: /* 2 */
S_227_0: /* 2 */
S_210_0: /* 2 */
		if (!((((int)((P0 *)_this)->b)<2)))
			goto S_227_1;
S_211_0: /* 2 */
		now.holding[ Index(((now.attached[ Index(((P0 *)_this)->i, 2) ]*2)+((P0 *)_this)->b), 6) ] = 0;
#ifdef VAR_RANGES
		logval("holding[((attached[Broadcaster:i]*2)+Broadcaster:b)]", ((int)now.holding[ Index(((((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ])*2)+((int)((P0 *)_this)->b)), 6) ]));
#endif
		;
S_212_0: /* 2 */
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 0;
#ifdef VAR_RANGES
		logval("holders[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
S_223_0: /* 2 */
S_221_0: /* 2 */
S_213_0: /* 2 */
		if (!((((((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ])&& !(((int)now.owned[ Index(((int)((P0 *)_this)->b), 2) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ])))&& !(((int)now.holders[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ])))))
			goto S_221_1;
S_214_0: /* 2 */
		now.used[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("used[Broadcaster:b]", ((int)now.used[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_215_0: /* 2 */
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("sequence[Broadcaster:b]", ((int)now.sequence[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_216_0: /* 2 */
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("stamp[Broadcaster:b]", ((int)now.stamp[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_217_0: /* 2 */
		now.written[ Index(((P0 *)_this)->b, 2) ] = 0;
#ifdef VAR_RANGES
		logval("written[Broadcaster:b]", ((int)now.written[ Index(((int)((P0 *)_this)->b), 2) ]));
#endif
		;
S_218_0: /* 2 */
		now.sent[ Index(((((P0 *)_this)->b*2)+0), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+0)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+0), 4) ]));
#endif
		;
S_219_0: /* 2 */
		now.sent[ Index(((((P0 *)_this)->b*2)+1), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+1)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+1), 4) ]));
#endif
		;
		goto S_222_0;
S_221_1: /* 3 */
S_220_0: /* 2 */
		/* else */;
		goto S_222_0;
S_221_2: /* 3 */
		Uerror("blocking sel in d_step (nr.4, near line 67)");
S_222_0: /* 2 */
		goto S_224_0;
S_224_0: /* 2 */
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		goto S_228_0; /* ';' */
S_227_1: /* 3 */
S_225_0: /* 2 */
		/* else */;
S_226_0: /* 2 */
		goto S_229_0;	/* 'goto' */
S_227_2: /* 3 */
		Uerror("blocking sel in d_step (nr.5, near line 81)");
S_229_0: /* 2 */
		goto S_230_0;	/* 'break' */
S_230_0: /* 2 */
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		goto S_234_0;
S_234_0: /* 1 */

#if defined(C_States) && (HAS_TRACK==1)
		c_update((uchar *) &(now.c_state[0]));
#endif
		_m = 3; goto P999;

	case 100: // STATE 248 - blocks.pml:225 - [D_STEP225]
		IfNotBlocked

		reached[0][248] = 1;
		reached[0][t->st] = 1;
		reached[0][tt] = 1;

		if (TstOnly) return 1;

		sv_save();
		S_235_0: /* 2 */
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
S_242_0: /* 2 */
S_241_0: /* 2 */
S_236_0: /* 2 */
		if (!((((int)((P0 *)_this)->b)<2)))
			goto S_241_1;
S_237_0: /* 2 */
		now.sent[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = 0;
#ifdef VAR_RANGES
		logval("sent[((Broadcaster:b*2)+Broadcaster:i)]", ((int)now.sent[ Index(((((int)((P0 *)_this)->b)*2)+((int)((P0 *)_this)->i)), 4) ]));
#endif
		;
S_238_0: /* 2 */
		((P0 *)_this)->b = (((int)((P0 *)_this)->b)+1);
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
		goto S_242_0; /* ';' */
S_241_1: /* 3 */
S_239_0: /* 2 */
		/* else */;
S_240_0: /* 2 */
		goto S_244_0;	/* 'goto' */
S_241_2: /* 3 */
		Uerror("blocking sel in d_step (nr.6, near line 227)");
S_243_0: /* 2 */
		goto S_244_0;	/* 'break' */
S_244_0: /* 2 */
		((P0 *)_this)->b = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:b", ((int)((P0 *)_this)->b));
#endif
		;
S_245_0: /* 2 */
		now.attached[ Index(((P0 *)_this)->i, 2) ] = 255;
#ifdef VAR_RANGES
		logval("attached[Broadcaster:i]", ((int)now.attached[ Index(((int)((P0 *)_this)->i), 2) ]));
#endif
		;
S_246_0: /* 2 */
		now.flagged[ Index(((P0 *)_this)->i, 2) ] = 0;
#ifdef VAR_RANGES
		logval("flagged[Broadcaster:i]", ((int)now.flagged[ Index(((int)((P0 *)_this)->i), 2) ]));
#endif
		;
		goto S_250_0;
S_250_0: /* 1 */

#if defined(C_States) && (HAS_TRACK==1)
		c_update((uchar *) &(now.c_state[0]));
#endif
		_m = 3; goto P999;

	case 101: // STATE 252 - blocks.pml:235 - [i = 0] (0:266:1 - 3)
		IfNotBlocked
		reached[0][252] = 1;
		(trpt+1)->bup.oval = ((int)((P0 *)_this)->i);
		((P0 *)_this)->i = 0;
#ifdef VAR_RANGES
		logval("Broadcaster:i", ((int)((P0 *)_this)->i));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 1 */
	case 102: // STATE 253 - blocks.pml:236 - [(((!(over)&&(attached[0]==255))&&(gone[2]==2)))] (0:0:0 - 1)
		IfNotBlocked
		reached[0][253] = 1;
		if (!((( !(((int)now.over))&&(((int)now.attached[0])==255))&&(((int)now.gone[2])==2))))
			continue;
		_m = 3; goto P999; /* 0 */
	case 103: // STATE 256 - blocks.pml:237 - [((((((!(over)&&(attached[0]==255))&&!(rests[2]))&&!(gone[2]))&&(given_up[0]<(2+1)))&&(pending_index==255)))] (266:0:1 - 1)
		IfNotBlocked
		reached[0][256] = 1;
		if (!(((((( !(((int)now.over))&&(((int)now.attached[0])==255))&& !(((int)now.rests[2])))&& !(((int)now.gone[2])))&&(((int)now.given_up[0])<(2+1)))&&(((int)now.pending_index)==255))))
			continue;
		/* merge: attached[0] = 2(0, 257, 266) */
		reached[0][257] = 1;
		(trpt+1)->bup.oval = ((int)now.attached[0]);
		now.attached[0] = 2;
#ifdef VAR_RANGES
		logval("attached[0]", ((int)now.attached[0]));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 104: // STATE 259 - blocks.pml:240 - [(((!(over)&&!(owned[0]))&&!(owned[1])))] (266:0:1 - 1)
		IfNotBlocked
		reached[0][259] = 1;
		if (!((( !(((int)now.over))&& !(((int)now.owned[0])))&& !(((int)now.owned[1])))))
			continue;
		/* merge: over = 1(0, 260, 266) */
		reached[0][260] = 1;
		(trpt+1)->bup.oval = ((int)now.over);
		now.over = 1;
#ifdef VAR_RANGES
		logval("over", ((int)now.over));
#endif
		;
		/* merge: .(goto)(0, 267, 266) */
		reached[0][267] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 105: // STATE 262 - blocks.pml:243 - [((((over&&((attached[0]==255)||rests[attached[0]]))&&(attached[1]==255))&&!(((attached[0]!=255)&&((holders[((0*2)+0)]&&(released[((attached[0]*2)+0)]==sequence[0]))||(holders[((1*2)+0)]&&(released[((attached[0]*2)+1)]==sequence[1])))))))] (269:0:0 - 1)
		IfNotBlocked
		reached[0][262] = 1;
		if (!((((((int)now.over)&&((((int)now.attached[0])==255)||((int)now.rests[ Index(((int)now.attached[0]), 3) ])))&&(((int)now.attached[1])==255))&& !(((((int)now.attached[0])!=255)&&((((int)now.holders[ Index(((0*2)+0), 4) ])&&(((int)now.released[ Index(((((int)now.attached[0])*2)+0), 6) ])==((int)now.sequence[0])))||(((int)now.holders[ Index(((1*2)+0), 4) ])&&(((int)now.released[ Index(((((int)now.attached[0])*2)+1), 6) ])==((int)now.sequence[1])))))))))
			continue;
		/* merge: assert((!(used[0])&&!(used[1])))(269, 263, 269) */
		reached[0][263] = 1;
		spin_assert(( !(((int)now.used[0]))&& !(((int)now.used[1]))), "( !(used[0])&& !(used[1]))", II, tt, t);
		/* merge: goto :b0(269, 264, 269) */
		reached[0][264] = 1;
		;
		_m = 3; goto P999; /* 2 */
	case 106: // STATE 269 - blocks.pml:248 - [-end-] (0:0:0 - 2)
		IfNotBlocked
		reached[0][269] = 1;
		if (!delproc(1, II)) continue;
		_m = 3; goto P999; /* 0 */
	case  _T5:	/* np_ */
		if (!((!(trpt->o_pm&4) && !(trpt->tau&128))))
			continue;
		/* else fall through */
	case  _T2:	/* true */
		_m = 3; goto P999;
#undef rand
	}

