/* Built without unwind tables and with frame pointers, whatever the build type (see
   CMakeLists.txt): a walk can leave this frame only by its frame pointer. */

void callWithoutUnwindTables(void (*function)(void*), void* argument) {
  function(argument);
  __asm__ volatile("");
}
