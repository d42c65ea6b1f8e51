/* Stands for a vendor's SDK: what the driver of a switching chip offers, as few functions as the
 * plug-in needs. Here the chip is memory.
 *
 * One thread. A write is answered through its callback: at once, or, while answers are deferred,
 * from chipPoll(). */
#ifndef CHIP_H
#define CHIP_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum ChipTable { CHIP_NEXT_HOPS, CHIP_MEMBERS, CHIP_GROUPS };
enum { CHIP_ROWS = 65536 }; /* of each table */

struct ChipRow {
  uint32_t words[3];
};

typedef void (*ChipDone)(void* context, int accepted);

/* Starts writing a row. Each write is answered exactly once. */
void chipWrite(enum ChipTable table, uint32_t row, struct ChipRow const* contents, ChipDone done,
               void* context);
void chipErase(enum ChipTable table, uint32_t row);
/* Whether the row holds something; if so, *contents is what. */
int chipRead(enum ChipTable table, uint32_t row, struct ChipRow* contents);

/* Answers wait for chipPoll() from now on, or no longer. They do not at first. */
void chipDefer(int on);
/* Delivers the oldest waiting answer; 0 when there is none. */
int chipPoll(void);
/* The chip refuses the next write. */
void chipRefuseNext(void);

#ifdef __cplusplus
}
#endif

#endif
