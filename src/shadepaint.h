// Umbrella header: every public class of shadepaint.
#pragma once

#include "engine/kxalloc.h"
#include "engine/pdf_stream.h"
#include "engine/xref_table.h"
#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "object/pdf_obj.h"
