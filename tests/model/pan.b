	switch (t->back) {
	default: Uerror("bad return move");
	case  0: goto R999; /* nothing to undo */

		 /* PROC :init: */

	case 3: // STATE 2
		;
		now.attached[1] = trpt->bup.ovals[1];
		now.attached[0] = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 2);
		goto R999;

	case 4: // STATE 3
		;
		;
		delproc(0, now._nr_pr-1);
		;
		goto R999;

	case 5: // STATE 4
		;
		;
		delproc(0, now._nr_pr-1);
		;
		goto R999;

	case 6: // STATE 5
		;
		;
		delproc(0, now._nr_pr-1);
		;
		goto R999;

	case 7: // STATE 6
		;
		;
		delproc(0, now._nr_pr-1);
		;
		goto R999;

	case 8: // STATE 7
		;
		;
		delproc(0, now._nr_pr-1);
		;
		goto R999;

	case 9: // STATE 9
		;
		p_restor(II);
		;
		;
		goto R999;

		 /* PROC Hostile */

	case 10: // STATE 1
		;
		((P3 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 11: // STATE 3
		;
		((P3 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 12: // STATE 17
		;
		((P3 *)_this)->value = trpt->bup.ovals[3];
		((P3 *)_this)->b = trpt->bup.ovals[2];
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = trpt->bup.ovals[1];
		((P3 *)_this)->value = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 4);
		goto R999;

	case 13: // STATE 17
		;
		((P3 *)_this)->value = trpt->bup.ovals[3];
		((P3 *)_this)->b = trpt->bup.ovals[2];
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = trpt->bup.ovals[1];
		((P3 *)_this)->value = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 4);
		goto R999;

	case 14: // STATE 17
		;
		((P3 *)_this)->value = trpt->bup.ovals[3];
		((P3 *)_this)->b = trpt->bup.ovals[2];
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = trpt->bup.ovals[1];
		((P3 *)_this)->value = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 4);
		goto R999;

	case 15: // STATE 17
		;
		((P3 *)_this)->value = trpt->bup.ovals[3];
		((P3 *)_this)->b = trpt->bup.ovals[2];
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = trpt->bup.ovals[1];
		((P3 *)_this)->value = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 4);
		goto R999;

	case 16: // STATE 17
		;
		((P3 *)_this)->value = trpt->bup.ovals[3];
		((P3 *)_this)->b = trpt->bup.ovals[2];
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = trpt->bup.ovals[1];
		((P3 *)_this)->value = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 4);
		goto R999;

	case 17: // STATE 17
		;
		((P3 *)_this)->value = trpt->bup.ovals[2];
		((P3 *)_this)->b = trpt->bup.ovals[1];
		now.released[ Index(((1*2)+((P3 *)_this)->b), 6) ] = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;

	case 18: // STATE 23
		;
		now.gone[1] = trpt->bup.oval;
		;
		goto R999;

	case 19: // STATE 24
		;
		p_restor(II);
		;
		;
		goto R999;

		 /* PROC Receiver */
;
		;
		;
		;
		
	case 22: // STATE 3
		;
		XX = 1;
		unrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 0, ((int)((P2 *)_this)->slot[0]), 1);
		unrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 1, ((int)((P2 *)_this)->number[0]), 0);
		unrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 2, ((int)((P2 *)_this)->expected[0]), 0);
		((P2 *)_this)->slot[0] = trpt->bup.ovals[0];
		((P2 *)_this)->number[0] = trpt->bup.ovals[1];
		((P2 *)_this)->expected[0] = trpt->bup.ovals[2];
		;
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;
;
		;
		
	case 24: // STATE 6
		;
		XX = 1;
		unrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 0, ((int)((P2 *)_this)->slot[1]), 1);
		unrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 1, ((int)((P2 *)_this)->number[1]), 0);
		unrecv(now.ring[ Index(((int)((P2 *)_this)->me), 3) ], XX-1, 2, ((int)((P2 *)_this)->expected[1]), 0);
		((P2 *)_this)->slot[1] = trpt->bup.ovals[0];
		((P2 *)_this)->number[1] = trpt->bup.ovals[1];
		((P2 *)_this)->expected[1] = trpt->bup.ovals[2];
		;
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;
;
		;
		
	case 26: // STATE 11
		;
		((P2 *)_this)->first = trpt->bup.oval;
		;
		goto R999;

	case 27: // STATE 12
		;
		((P2 *)_this)->second = trpt->bup.oval;
		;
		goto R999;

	case 28: // STATE 13
		;
		((P2 *)_this)->whole = trpt->bup.oval;
		;
		goto R999;
	case 29: // STATE 17
		sv_restor();
		goto R999;

	case 30: // STATE 19
		;
	/* 0 */	((P2 *)_this)->whole = trpt->bup.oval;
		;
		;
		goto R999;
;
		;
			case 32: // STATE 35
		sv_restor();
		goto R999;

	case 33: // STATE 41
		;
		((P2 *)_this)->expected[ Index(((P2 *)_this)->f, 2) ] = trpt->bup.ovals[4];
		((P2 *)_this)->number[ Index(((P2 *)_this)->f, 2) ] = trpt->bup.ovals[3];
		((P2 *)_this)->slot[ Index(((P2 *)_this)->f, 2) ] = trpt->bup.ovals[2];
		((P2 *)_this)->old_number = trpt->bup.ovals[1];
		((P2 *)_this)->old_slot = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 5);
		goto R999;
;
		;
		
	case 35: // STATE 50
		;
		((P2 *)_this)->old_number = trpt->bup.ovals[2];
		((P2 *)_this)->old_slot = trpt->bup.ovals[1];
		now.released[ Index(((((P2 *)_this)->me*2)+((P2 *)_this)->old_slot), 6) ] = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;

	case 36: // STATE 50
		;
		((P2 *)_this)->old_number = trpt->bup.ovals[1];
		((P2 *)_this)->old_slot = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 2);
		goto R999;

	case 37: // STATE 52
		;
		((P2 *)_this)->f = trpt->bup.oval;
		;
		goto R999;

	case 38: // STATE 54
		;
		now.rests[ Index(((P2 *)_this)->me, 3) ] = trpt->bup.oval;
		;
		goto R999;

	case 39: // STATE 61
		;
		now.gone[ Index(((P2 *)_this)->me, 3) ] = trpt->bup.oval;
		;
		goto R999;

	case 40: // STATE 63
		;
		p_restor(II);
		;
		;
		goto R999;

		 /* PROC StoreBuffer */

	case 41: // STATE 4
		;
		now.pending_id = trpt->bup.ovals[2];
		now.pending_index = trpt->bup.ovals[1];
		now.given_up[ Index(now.pending_index, 2) ] = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;

	case 42: // STATE 9
		;
		p_restor(II);
		;
		;
		goto R999;

		 /* PROC Broadcaster */
;
		;
		
	case 44: // STATE 2
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 45: // STATE 4
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 46: // STATE 18
		;
		((P0 *)_this)->b = trpt->bup.ovals[4];
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[3];
		now.owned[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[2];
		now.used[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[1];
		now.allocations = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 5);
		goto R999;

	case 47: // STATE 18
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;
;
		;
		
	case 49: // STATE 21
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 50: // STATE 23
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 51: // STATE 36
		;
		((P0 *)_this)->b = trpt->bup.ovals[2];
		now.written[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[1];
		now.memory[ Index(((((P0 *)_this)->b*2)+now.written[ Index(((P0 *)_this)->b, 2) ]), 4) ] = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;

	case 52: // STATE 36
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;
;
		;
		
	case 54: // STATE 39
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 55: // STATE 47
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 56: // STATE 41
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 57: // STATE 47
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 58: // STATE 49
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;
;
		;
		
	case 60: // STATE 64
		;
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = trpt->bup.ovals[5];
		now.holding[ Index(((((P0 *)_this)->r*2)+((P0 *)_this)->b), 6) ] = trpt->bup.ovals[4];
		now.sent[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = trpt->bup.ovals[3];
		((P0 *)_this)->r = trpt->bup.ovals[2];
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[1];
		now.publications = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 6);
		goto R999;

	case 61: // STATE 64
		;
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = trpt->bup.ovals[3];
		now.holding[ Index(((((P0 *)_this)->r*2)+((P0 *)_this)->b), 6) ] = trpt->bup.ovals[2];
		now.sent[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = trpt->bup.ovals[1];
		((P0 *)_this)->r = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 4);
		goto R999;
;
		;
		
	case 63: // STATE 76
		;
		((P0 *)_this)->i = trpt->bup.ovals[2];
		((P0 *)_this)->b = trpt->bup.ovals[1];
		((P0 *)_this)->r = trpt->bup.ovals[0];
		_m = unsend(now.ring[ Index(((int)((P0 *)_this)->r), 3) ]);
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;

	case 64: // STATE 76
		;
		((P0 *)_this)->i = trpt->bup.ovals[2];
		((P0 *)_this)->b = trpt->bup.ovals[1];
		((P0 *)_this)->r = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 3);
		goto R999;

	case 65: // STATE 76
		;
		((P0 *)_this)->i = trpt->bup.ovals[1];
		((P0 *)_this)->b = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 2);
		goto R999;
;
		;
		
	case 67: // STATE 79
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 68: // STATE 81
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 69: // STATE 88
		;
		now.owned[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.oval;
		;
		goto R999;

	case 70: // STATE 103
		;
		((P0 *)_this)->b = trpt->bup.ovals[6];
		now.sent[ Index(((((P0 *)_this)->b*2)+1), 4) ] = trpt->bup.ovals[5];
		now.sent[ Index(((((P0 *)_this)->b*2)+0), 4) ] = trpt->bup.ovals[4];
		now.written[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[3];
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[2];
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[1];
		now.used[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 7);
		goto R999;

	case 71: // STATE 103
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 72: // STATE 105
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 73: // STATE 113
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 74: // STATE 107
		;
		((P0 *)_this)->b = trpt->bup.oval;
		;
		goto R999;

	case 75: // STATE 113
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 76: // STATE 115
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;
;
		;
		
	case 78: // STATE 121
		;
		now.holders[ Index(((((P0 *)_this)->b*2)+((P0 *)_this)->i), 4) ] = trpt->bup.oval;
		;
		goto R999;

	case 79: // STATE 138
		;
		((P0 *)_this)->i = trpt->bup.ovals[7];
		((P0 *)_this)->b = trpt->bup.ovals[6];
		now.sent[ Index(((((P0 *)_this)->b*2)+1), 4) ] = trpt->bup.ovals[5];
		now.sent[ Index(((((P0 *)_this)->b*2)+0), 4) ] = trpt->bup.ovals[4];
		now.written[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[3];
		now.stamp[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[2];
		now.sequence[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[1];
		now.used[ Index(((P0 *)_this)->b, 2) ] = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 8);
		goto R999;

	case 80: // STATE 138
		;
		((P0 *)_this)->i = trpt->bup.ovals[1];
		((P0 *)_this)->b = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 2);
		goto R999;

	case 81: // STATE 141
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 82: // STATE 143
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 83: // STATE 149
		;
		now.flagged[ Index(((P0 *)_this)->i, 2) ] = trpt->bup.oval;
		;
		goto R999;
;
		
	case 84: // STATE 153
		goto R999;

	case 85: // STATE 151
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;
;
		;
		
	case 87: // STATE 158
		;
		now.pending_id = trpt->bup.ovals[1];
		now.pending_index = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 2);
		goto R999;
;
		;
			case 89: // STATE 184
		sv_restor();
		goto R999;

	case 90: // STATE 189
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 91: // STATE 190
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;

	case 92: // STATE 192
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;
;
		
	case 93: // STATE 197
		goto R999;
;
		
	case 94: // STATE 201
		goto R999;

	case 95: // STATE 199
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;
;
		;
		
	case 97: // STATE 206
		;
		now.pending_id = trpt->bup.ovals[1];
		now.pending_index = trpt->bup.ovals[0];
		;
		ungrab_ints(trpt->bup.ovals, 2);
		goto R999;
;
		;
			case 99: // STATE 232
		sv_restor();
		goto R999;
	case 100: // STATE 248
		sv_restor();
		goto R999;

	case 101: // STATE 252
		;
		((P0 *)_this)->i = trpt->bup.oval;
		;
		goto R999;
;
		;
		
	case 103: // STATE 257
		;
		now.attached[0] = trpt->bup.oval;
		;
		goto R999;

	case 104: // STATE 260
		;
		now.over = trpt->bup.oval;
		;
		goto R999;
;
		
	case 105: // STATE 262
		goto R999;

	case 106: // STATE 269
		;
		p_restor(II);
		;
		;
		goto R999;
	}

