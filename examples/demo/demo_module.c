/*
 * Module init, named on the "load" line: runs once per instance start after
 * the module is loaded and before its handlers are resolved. The demo starts
 * each run with a known store holding one sample item.
 */
#include "demo_handlers.h"
#include "item_store.h"

uint32_t DemoModuleInit(uint32_t uiArg1, uint32_t uiArg2) {
    (void)uiArg1;
    (void)uiArg2;
    DemoItemStoreClear();
    return DemoItemPut("example", "an item made by DemoModuleInit") == DEMO_ITEM_CREATED ? 0 : 0xFFFFFFFFu;
}
