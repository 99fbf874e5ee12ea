int quillon_tmp;
