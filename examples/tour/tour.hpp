// Each subsystem's part of the tour lives in its own file.
#pragma once
void tour_vector();
void tour_complex();
void tour_random();
void tour_twister();
void tour_quasi();
void tour_counter();
void tour_image();
void tour_discrete();
void tour_stats();
void tour_robust();
void tour_fitting();
