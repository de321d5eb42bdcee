// Everything the library offers, in one include.
#ifndef CFMETA_CFMETA_H_
#define CFMETA_CFMETA_H_

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cfgeo.h"
#include "cfmeta/field/cfmodelfield.h"
#include "cfmeta/field/cfrange.h"
#include "cfmeta/field/cfvalue.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformatutils.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/printable/cfuncconverter.h"
#include "cfmeta/stats/cfcatstats.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/vocab/xmlelement.h"
#include "cfmeta/xml/cfxml_c.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

#endif  // CFMETA_CFMETA_H_
