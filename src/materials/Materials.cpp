#include "format3mf/Materials.h"

namespace Format_3MF
{
Materials::Materials(ModelFile* modelFile) : m_modelFile(modelFile) {}

Materials::~Materials() = default;

void Materials::_OnStopWriting(PackageWriteContext*) {}
void Materials::_OnStartReading(PackageReadContext*) {}
void Materials::_OnStopReading(PackageReadContext*) {}
} // namespace Format_3MF
