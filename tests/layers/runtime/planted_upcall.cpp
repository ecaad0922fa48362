// A runtime object that calls the service layer's log itself, not through the
// hooks: the symbol check of tools/check-include-layers must refuse it.
extern "C" void pavo_log_info(const char* format, ...);
void planted_upcall() { pavo_log_info("planted\r\n"); }
