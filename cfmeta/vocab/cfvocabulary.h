// The XML vocabulary of the metadata document: element names, attribute names and the
// texts that enumerations are written as.
//
// Every text follows one rule: an element constant is its own name; an attribute or entity
// constant is its name with the first letter lowered. Readers and writers refer to the texts
// only through these constants.
#ifndef CFMETA_VOCAB_CFVOCABULARY_H_
#define CFMETA_VOCAB_CFVOCABULARY_H_

#include "cfmeta/cfmeta_export.h"

namespace CfCppHelperV1 {

namespace XMLElements {
CFMETA_API extern const char* const BaseField;
CFMETA_API extern const char* const Category;
CFMETA_API extern const char* const Cluster;
CFMETA_API extern const char* const ContinuousStatistics;
CFMETA_API extern const char* const ContinuousStatisticsExt;
CFMETA_API extern const char* const DataModel;
CFMETA_API extern const char* const DatasetSummaries;
CFMETA_API extern const char* const DateFormat;
CFMETA_API extern const char* const DecoratedFormat;
CFMETA_API extern const char* const DiscreteStatistics;
CFMETA_API extern const char* const DiscreteStatisticsExt;
CFMETA_API extern const char* const DistributionSummary;
CFMETA_API extern const char* const Field;
CFMETA_API extern const char* const FieldFormat;
CFMETA_API extern const char* const FieldFormats;
CFMETA_API extern const char* const FieldGroup;
CFMETA_API extern const char* const FieldGroups;
CFMETA_API extern const char* const FieldName;
CFMETA_API extern const char* const FieldSummaries;
CFMETA_API extern const char* const FieldSummary;
CFMETA_API extern const char* const Fields;
CFMETA_API extern const char* const Geo;
CFMETA_API extern const char* const GeoEnvelope;
CFMETA_API extern const char* const MissingValues;
CFMETA_API extern const char* const ModelField;
CFMETA_API extern const char* const NumberFormat;
CFMETA_API extern const char* const OverallSummaries;
CFMETA_API extern const char* const Percentile;
CFMETA_API extern const char* const Percentiles;
CFMETA_API extern const char* const Range;
CFMETA_API extern const char* const RecordCounts;
CFMETA_API extern const char* const RecordCountsExt;
CFMETA_API extern const char* const StringFormat;
CFMETA_API extern const char* const TimeFormat;
CFMETA_API extern const char* const Value;
CFMETA_API extern const char* const ValueLabels;
CFMETA_API extern const char* const Values;
}  // namespace XMLElements

namespace XMLAttributes {
CFMETA_API extern const char* const Alignment;
CFMETA_API extern const char* const CaseSensitive;
CFMETA_API extern const char* const Category;
CFMETA_API extern const char* const Coordinates;
CFMETA_API extern const char* const Count;
CFMETA_API extern const char* const CountedValue;
CFMETA_API extern const char* const Csname;
CFMETA_API extern const char* const CustomCurrType;
CFMETA_API extern const char* const DecimalPlaces;
CFMETA_API extern const char* const DecimalSymbol;
CFMETA_API extern const char* const DefaultDateFormat;
CFMETA_API extern const char* const DefaultNumberFormat;
CFMETA_API extern const char* const DefaultStringFormat;
CFMETA_API extern const char* const DefaultTimeFormat;
CFMETA_API extern const char* const DefinePartition;
CFMETA_API extern const char* const Depth;
CFMETA_API extern const char* const DisplayLabel;
CFMETA_API extern const char* const DroppedCount;
CFMETA_API extern const char* const ElementCount;
CFMETA_API extern const char* const ExactMaximum;
CFMETA_API extern const char* const ExactMinimum;
CFMETA_API extern const char* const FieldName;
CFMETA_API extern const char* const FlagValue;
CFMETA_API extern const char* const FormatType;
CFMETA_API extern const char* const Group;
CFMETA_API extern const char* const GroupType;
CFMETA_API extern const char* const GroupingSymbol;
CFMETA_API extern const char* const Hexadecimal;
CFMETA_API extern const char* const IsProjected;
CFMETA_API extern const char* const LeftUpperX;
CFMETA_API extern const char* const LeftUpperY;
CFMETA_API extern const char* const MaxStringLength;
CFMETA_API extern const char* const MaxValue;
CFMETA_API extern const char* const Maximum;
CFMETA_API extern const char* const Mean;
CFMETA_API extern const char* const Measure;
CFMETA_API extern const char* const MinValue;
CFMETA_API extern const char* const Minimum;
CFMETA_API extern const char* const Name;
CFMETA_API extern const char* const NamesLocal;
CFMETA_API extern const char* const NegPrefix;
CFMETA_API extern const char* const NegSuffix;
CFMETA_API extern const char* const PaddedHMS;
CFMETA_API extern const char* const Prefix;
CFMETA_API extern const char* const RightLowerX;
CFMETA_API extern const char* const RightLowerY;
CFMETA_API extern const char* const Role;
CFMETA_API extern const char* const RuleFeature;
CFMETA_API extern const char* const Separator;
CFMETA_API extern const char* const Storage;
CFMETA_API extern const char* const Structure;
CFMETA_API extern const char* const StructureStorage;
CFMETA_API extern const char* const Suffix;
CFMETA_API extern const char* const SumCompWts;
CFMETA_API extern const char* const SumFreqWts;
CFMETA_API extern const char* const Tag;
CFMETA_API extern const char* const TargetField;
CFMETA_API extern const char* const TargetFieldStorage;
CFMETA_API extern const char* const TreatNullAsMissing;
CFMETA_API extern const char* const TreatWhitespaceAsMissing;
CFMETA_API extern const char* const TwoDigitYear;
CFMETA_API extern const char* const Type;
CFMETA_API extern const char* const UnweightedCount;
CFMETA_API extern const char* const UseNamedFormat;
CFMETA_API extern const char* const Value;
CFMETA_API extern const char* const Variance;
CFMETA_API extern const char* const WeightedCount;
CFMETA_API extern const char* const Width;
CFMETA_API extern const char* const Wkid;
CFMETA_API extern const char* const Wkt;
CFMETA_API extern const char* const cumPercentage;
CFMETA_API extern const char* const current;
CFMETA_API extern const char* const discrete;
CFMETA_API extern const char* const includeNotValid;
CFMETA_API extern const char* const includeUMissing;
CFMETA_API extern const char* const interQuartileRange;
CFMETA_API extern const char* const invalidCount;
CFMETA_API extern const char* const kurtosis;
CFMETA_API extern const char* const lower;
CFMETA_API extern const char* const maxCatsExceeded;
CFMETA_API extern const char* const median;
CFMETA_API extern const char* const missingCount;
CFMETA_API extern const char* const mode;
CFMETA_API extern const char* const outlierLowerBound;
CFMETA_API extern const char* const outlierUpperBound;
CFMETA_API extern const char* const percentage;
CFMETA_API extern const char* const rank;
CFMETA_API extern const char* const score;
CFMETA_API extern const char* const skewness;
CFMETA_API extern const char* const stdDev;
CFMETA_API extern const char* const stdErrKurtosis;
CFMETA_API extern const char* const stdErrSkewness;
CFMETA_API extern const char* const unweightedInvalid;
CFMETA_API extern const char* const unweightedMissing;
CFMETA_API extern const char* const unweightedValid;
CFMETA_API extern const char* const upper;
CFMETA_API extern const char* const validCount;
}  // namespace XMLAttributes

namespace XMLEntities {
CFMETA_API extern const char* const Antecedent;
CFMETA_API extern const char* const Auto;
CFMETA_API extern const char* const Both;
CFMETA_API extern const char* const Center;
CFMETA_API extern const char* const ClusterAffinity;
CFMETA_API extern const char* const ClusterId;
CFMETA_API extern const char* const Colon;
CFMETA_API extern const char* const Comma;
CFMETA_API extern const char* const Confidence;
CFMETA_API extern const char* const Consequent;
CFMETA_API extern const char* const Continuous;
CFMETA_API extern const char* const Currency;
CFMETA_API extern const char* const D_H_M_S;
CFMETA_API extern const char* const D_M_Y;
CFMETA_API extern const char* const D_monthName_Y;
CFMETA_API extern const char* const Dash;
CFMETA_API extern const char* const Date;
CFMETA_API extern const char* const DayName;
CFMETA_API extern const char* const Derived;
CFMETA_API extern const char* const Discrete;
CFMETA_API extern const char* const EntityAffinity;
CFMETA_API extern const char* const EntityId;
CFMETA_API extern const char* const False;
CFMETA_API extern const char* const FieldGroup;
CFMETA_API extern const char* const Flag;
CFMETA_API extern const char* const FreqWeight;
CFMETA_API extern const char* const General;
CFMETA_API extern const char* const H_M;
CFMETA_API extern const char* const H_M_S;
CFMETA_API extern const char* const Input;
CFMETA_API extern const char* const IntBin;
CFMETA_API extern const char* const Integer;
CFMETA_API extern const char* const Left;
CFMETA_API extern const char* const Lift;
CFMETA_API extern const char* const LineString;
CFMETA_API extern const char* const List;
CFMETA_API extern const char* const Local;
CFMETA_API extern const char* const LowerConfidenceLimit;
CFMETA_API extern const char* const M_D_Y;
CFMETA_API extern const char* const M_S;
CFMETA_API extern const char* const MonthName;
CFMETA_API extern const char* const MonthName_Y;
CFMETA_API extern const char* const MultiCategorySet;
CFMETA_API extern const char* const MultiDichotomySet;
CFMETA_API extern const char* const MultiLineString;
CFMETA_API extern const char* const MultiPoint;
CFMETA_API extern const char* const MultiPolygon;
CFMETA_API extern const char* const Nominal;
CFMETA_API extern const char* const None;
CFMETA_API extern const char* const Ordinal;
CFMETA_API extern const char* const Packed;
CFMETA_API extern const char* const Partition;
CFMETA_API extern const char* const Percentage;
CFMETA_API extern const char* const Period;
CFMETA_API extern const char* const Point;
CFMETA_API extern const char* const Polygon;
CFMETA_API extern const char* const PosIntBin;
CFMETA_API extern const char* const PosIntBinHex;
CFMETA_API extern const char* const PosRealBin;
CFMETA_API extern const char* const PredictedValue;
CFMETA_API extern const char* const Primitive;
CFMETA_API extern const char* const Probability;
CFMETA_API extern const char* const Propensity;
CFMETA_API extern const char* const Q_Y;
CFMETA_API extern const char* const Real;
CFMETA_API extern const char* const RealBin;
CFMETA_API extern const char* const RecordId;
CFMETA_API extern const char* const Residual;
CFMETA_API extern const char* const Restricted;
CFMETA_API extern const char* const Right;
CFMETA_API extern const char* const Rule;
CFMETA_API extern const char* const RuleId;
CFMETA_API extern const char* const RuleValue;
CFMETA_API extern const char* const Scientific;
CFMETA_API extern const char* const Slash;
CFMETA_API extern const char* const Space;
CFMETA_API extern const char* const Split;
CFMETA_API extern const char* const SplitGroup;
CFMETA_API extern const char* const Standard;
CFMETA_API extern const char* const StandardError;
CFMETA_API extern const char* const String;
CFMETA_API extern const char* const Support;
CFMETA_API extern const char* const Target;
CFMETA_API extern const char* const Testing;
CFMETA_API extern const char* const Time;
CFMETA_API extern const char* const Timestamp;
CFMETA_API extern const char* const Training;
CFMETA_API extern const char* const True;
CFMETA_API extern const char* const Typeless;
CFMETA_API extern const char* const Unknown;
CFMETA_API extern const char* const UnsignedPacked;
CFMETA_API extern const char* const UpperConfidenceLimit;
CFMETA_API extern const char* const Validation;
CFMETA_API extern const char* const W_Y;
CFMETA_API extern const char* const Warning;
CFMETA_API extern const char* const Y_M_D;
CFMETA_API extern const char* const Y_dayNo;
CFMETA_API extern const char* const Zoned;
}  // namespace XMLEntities

}  // namespace CfCppHelperV1

#endif  // CFMETA_VOCAB_CFVOCABULARY_H_
