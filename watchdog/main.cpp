#include "watchdog/WatchdogMain.hpp"

int main(int argc, char** argv) { return tallowbeck::WatchdogMain::run(argc, argv); }
