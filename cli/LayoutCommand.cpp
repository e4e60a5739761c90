#include "cli/Commands.h"
int orvane::cli::runLayout(Args) { return 1; }
int orvane::cli::runDemo(Args) { return 1; }
