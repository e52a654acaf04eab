#ifndef BASALT_TEXT_CASE_TABLES_H
#define BASALT_TEXT_CASE_TABLES_H

// The case tables of KELPString, one three-stage set for each direction. Stage 1 takes the
// unit's top 7 bits to a block of stage 2, stage 2 takes bits 4 to 8 to a block of stage 3, and
// stage 3 takes the low 4 bits to an index into the deltas; noMapping at stage 1 or 2 leaves
// the unit as it is. The data is in case_tables_generated.cpp (tools/gen_case_tables.py).

#include <cstdint>

namespace basalt::text {

constexpr std::uint8_t noMapping = 127;

// Hidden here as well as where they are defined, so that a lookup addresses the tables
// directly instead of through the global offset table.
#pragma GCC visibility push(hidden)
extern const std::uint8_t lowerStage1[128];
extern const std::uint8_t lowerStage2[];
extern const std::uint8_t lowerStage3[];
extern const std::uint16_t lowerDeltas[];

extern const std::uint8_t upperStage1[128];
extern const std::uint8_t upperStage2[];
extern const std::uint8_t upperStage3[];
extern const std::uint16_t upperDeltas[];
#pragma GCC visibility pop

inline unsigned short mapCase(const std::uint8_t* stage1, const std::uint8_t* stage2,
                              const std::uint8_t* stage3, const std::uint16_t* deltas,
                              unsigned short unit) {
  const unsigned int block = stage1[unit >> 9];
  if (block == noMapping) {
    return unit;
  }
  const unsigned int row = stage2[block * 32 + ((unit >> 4) & 0x1F)];
  if (row == noMapping) {
    return unit;
  }
  return static_cast<unsigned short>(unit + deltas[stage3[row * 16 + (unit & 0xF)]]);
}

inline unsigned short lowerCase(unsigned short unit) {
  return mapCase(lowerStage1, lowerStage2, lowerStage3, lowerDeltas, unit);
}

inline unsigned short upperCase(unsigned short unit) {
  return mapCase(upperStage1, upperStage2, upperStage3, upperDeltas, unit);
}

} // namespace basalt::text

#endif
