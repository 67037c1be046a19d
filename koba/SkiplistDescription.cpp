#include "koba/SkiplistDescription.h"

void KOBASkiplistDescription_init(KOBASkiplistDescription *desc, int8_t maxLevel,
                                  KOBASkiplistCreateNodeFcn create, void *createParam,
                                  KOBASkiplistDestroyNodeFcn destroy, void *destroyParam,
                                  KOBASkiplistLevelFcn levelFn, void *levelParam)
{
    *desc = {create, createParam, destroy, destroyParam, levelFn, levelParam, maxLevel};
}

int32_t KOBASkiplistDescription_getMaximumLevel(const KOBASkiplistDescription *desc)
{
    return desc->maximumLevel;
}
