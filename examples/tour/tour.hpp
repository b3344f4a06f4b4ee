// Each subsystem's part of the tour lives in its own file.
#pragma once
void tour_vector();
void tour_random();
void tour_discrete();
void tour_stats();
void tour_robust();
void tour_fitting();
