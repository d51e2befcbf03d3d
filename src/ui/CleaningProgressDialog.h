// The progress of a cleaning that runs on a worker, shown over the results window.
#pragma once

#include "results/Cleaning.h"

class QWidget;

namespace kelvora {

// Shows how many of the selected copies were handled, with a Stop button that ends the
// cleaning after the copy in hand, and runs the window's events until progress.finished is
// set. Short cleanings end before the dialog would appear.
void waitForCleaning(QWidget* parent, CleaningProgress& progress);

}  // namespace kelvora
