#include "MLErrorFunction.h"

#include "quillcast-core/AsciiCase.h"
#include "quillcast-core/Assertion.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.ErrorFunction");

constexpr double EPSILON = 1e-6;

struct TypeRow
{
    ErrorFunction::ErrorFunctionType m_type;
    const char* m_typeName;
    const char* m_longKeyword;
    const char* m_shortKeyword; ///< null where there is none
    ErrorFunction* (*m_create)();
};

template <class Function>
ErrorFunction* create()
{
    return new Function;
}

/// In the order in which keywords are compared. The classification measure deliberately has no short keyword.
constexpr TypeRow TYPES[] = {
    {ErrorFunction::MEAN_SQUARE, "MEAN_SQUARE", "mean_square", "mse", create<MSEErrorFunction>},
    {ErrorFunction::LEAST_SQUARE, "LEAST_SQUARE", "least_square", "lse", create<LSEErrorFunction>},
    {ErrorFunction::SUM_SQUARE, "SUM_SQUARE", "sum_square", "sse", create<SSEErrorFunction>},
    {ErrorFunction::CROSS_ENTROPY, "CROSS_ENTROPY", "cross_entropy", "ce", create<CEErrorFunction>},
    {ErrorFunction::MULTIPLE_CROSS_ENTROPY, "MULTIPLE_CROSS_ENTROPY", "multiple_cross_entropy", "mce",
     create<MCEErrorFunction>},
    {ErrorFunction::CLASSIFICATION, "CLASSIFICATION", "classification", nullptr, create<ClassificationError>},
};

const TypeRow* findType(ErrorFunction::ErrorFunctionType in_type)
{
    const auto* itRow = std::find_if(std::begin(TYPES), std::end(TYPES),
                                     [in_type](const TypeRow& in_row) { return in_row.m_type == in_type; });
    return itRow == std::end(TYPES) ? nullptr : itRow;
}

/// The target must have an element for each output, or the sums would read past its end.
bool haveFittingSizes(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    return QC_CHECK(in_vDesired.size() >= in_vTested.size());
}

double notANumber()
{
    return std::numeric_limits<double>::quiet_NaN();
}

double sumOfSquares(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    const double* pDesired = in_vDesired.begin();
    const double* pTested = in_vTested.begin();
    const std::size_t uiSize = in_vTested.size();
    double dSum = 0.0;
    // The additions wait for each other, in this loop as in the next ones: the fewer other instructions there
    // are, the more calls overlap.
#pragma GCC unroll 4
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        const double dDifference = pDesired[i] - pTested[i];
        dSum += dDifference * dDifference;
    }
    return dSum;
}

/// The number of classes is fixed by the first pattern.
bool countClass(std::size_t in_uiDesiredClass, std::size_t in_uiNumClasses,
                std::vector<std::uint64_t>& io_vNumOfEachClass)
{
    if (io_vNumOfEachClass.empty())
        io_vNumOfEachClass.resize(in_uiNumClasses);
    if (!QC_CHECK_TEXT("m_vNumOfEachClass.size() == in_vTested.size()",
                       io_vNumOfEachClass.size() == in_uiNumClasses))
        return false;
    if (!QC_CHECK_TEXT("in_uiDesiredClass < m_vNumOfEachClass.size()",
                       in_uiDesiredClass < io_vNumOfEachClass.size()))
        return false;
    ++io_vNumOfEachClass[in_uiDesiredClass];
    return true;
}

} // namespace

Fallible<ErrorFunction::ErrorFunctionType> ErrorFunction::parseErrorFuncType(const char* in_keyword)
{
    QC_TRACE("ErrorFunction::parseErrorFuncType");
    if (!QC_CHECK(in_keyword != nullptr))
        return {};
    for (const TypeRow& row : TYPES)
    {
        if (equalIgnoringCase(in_keyword, row.m_longKeyword) ||
            (row.m_shortKeyword != nullptr && equalIgnoringCase(in_keyword, row.m_shortKeyword)))
            return row.m_type;
    }
    return {};
}

const char* ErrorFunction::getErrorFuncTypeString(ErrorFunctionType in_type)
{
    const TypeRow* pRow = findType(in_type);
    return pRow == nullptr ? "???ErrorFunction_ErrorFunctionType???" : pRow->m_typeName;
}

CountedObjPtr<ErrorFunction> ErrorFunction::newErrorFunction(ErrorFunctionType in_type)
{
    const TypeRow* pRow = findType(in_type);
    return CountedObjPtr<ErrorFunction>(pRow == nullptr ? nullptr : pRow->m_create());
}

CountedObjPtr<ErrorFunction> ErrorFunction::newErrorFunctionOfName(const std::string& in_strName)
{
    QC_TRACE("ErrorFunction::newErrorFunctionOfName");
    for (const TypeRow& row : TYPES)
    {
        CountedObjPtr<ErrorFunction> pFunction(row.m_create());
        if (in_strName == pFunction->getErrFuncName())
            return pFunction;
    }
    return {};
}

double MSEErrorFunction::operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    QC_TRACE("MSEErrorFunction::operator()");
    if (!haveFittingSizes(in_vDesired, in_vTested))
        return notANumber();
    return sumOfSquares(in_vDesired, in_vTested) / static_cast<double>(in_vDesired.size());
}

double LSEErrorFunction::operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    QC_TRACE("LSEErrorFunction::operator()");
    if (!haveFittingSizes(in_vDesired, in_vTested))
        return notANumber();
    return 0.5 * sumOfSquares(in_vDesired, in_vTested);
}

double SSEErrorFunction::operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    QC_TRACE("SSEErrorFunction::operator()");
    if (!haveFittingSizes(in_vDesired, in_vTested))
        return notANumber();
    return sumOfSquares(in_vDesired, in_vTested);
}

double CEErrorFunction::operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    QC_TRACE("CEErrorFunction::operator()");
    if (!haveFittingSizes(in_vDesired, in_vTested))
        return notANumber();
    const double* pDesired = in_vDesired.begin();
    const double* pTested = in_vTested.begin();
    const std::size_t uiSize = in_vTested.size();
    double dSum = 0.0;
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        const double dDesired = pDesired[i];
        const double dTested = pTested[i];
        if (dDesired > 0.0)
            dSum += dDesired * std::log(std::max(dTested, EPSILON));
        if (1.0 - dDesired > 0.0)
            dSum += (1.0 - dDesired) * std::log(std::max(1.0 - dTested, EPSILON));
    }
    return -dSum;
}

double MCEErrorFunction::operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    QC_TRACE("MCEErrorFunction::operator()");
    if (!haveFittingSizes(in_vDesired, in_vTested))
        return notANumber();
    const double* pDesired = in_vDesired.begin();
    const double* pTested = in_vTested.begin();
    const std::size_t uiSize = in_vTested.size();
    double dSum = 0.0;
#pragma GCC unroll 4
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        if (pDesired[i] > 0.0)
            dSum += pDesired[i] * std::log(std::max(pTested[i], EPSILON));
    }
    return -dSum;
}

double ClassificationError::operator()(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    QC_TRACE("ClassificationError::operator()");
    return isInError(in_vDesired, in_vTested) ? 1.0 : 0.0;
}

bool ClassificationError::isInError(const DoubleVector& in_vDesired, const DoubleVector& in_vTested)
{
    QC_TRACE("ClassificationError::isInError");
    const double* iter = std::find(in_vDesired.begin(), in_vDesired.end(), 1.0);
    if (iter == in_vDesired.end())
        return true;
    if (std::find(iter + 1, in_vDesired.end(), 1.0) != in_vDesired.end())
    {
        QC_ERROR("Desired targets are : " << in_vDesired);
        QC_ERROR("Tested values are: " << in_vTested);
        return QC_CHECK_TEXT("find(iter + 1, in_vDesired.end(), 1.0) == in_vDesired.end()", false);
    }
    const double* iterMax = std::max_element(in_vTested.begin(), in_vTested.end());
    if (!QC_CHECK(iterMax != in_vTested.end()))
        return false;

    const auto uiDesiredClass = static_cast<std::size_t>(iter - in_vDesired.begin());
    const auto uiTestedClass = static_cast<std::size_t>(iterMax - in_vTested.begin());
    const bool bRecognised = uiTestedClass == uiDesiredClass;
    if (!bRecognised)
        ++m_uiNumError;
    if (!countClass(uiDesiredClass, in_vTested.size(), m_vNumOfEachClass))
        return false;
    if (!bRecognised && in_vDesired.size() == 2)
        countFalseResult(in_vDesired, uiTestedClass);
    ++m_uiNumClassified;
    return bRecognised;
}

void ClassificationError::countFalseResult(const DoubleVector& in_vDesired, std::size_t in_uiTestedClass)
{
    if (in_vDesired[0] == 1.0 && in_uiTestedClass != 0)
        ++m_uiNumFalseNegative;
    else if (in_vDesired[0] == 0.0 && in_uiTestedClass == 0)
        ++m_uiNumFalsePositive;
}

bool ClassificationError::reset()
{
    QC_TRACE("ClassificationError::reset");
    m_uiNumError = 0;
    m_uiNumClassified = 0;
    std::fill(m_vNumOfEachClass.begin(), m_vNumOfEachClass.end(), 0);
    m_uiNumFalsePositive = 0;
    m_uiNumFalseNegative = 0;
    return true;
}

bool ClassificationError::merge(const ClassificationError& in_other)
{
    QC_TRACE("ClassificationError::merge");
    const std::size_t uiOther = in_other.m_vNumOfEachClass.size();
    if (m_vNumOfEachClass.empty())
        m_vNumOfEachClass.resize(uiOther);
    if (uiOther != 0 && m_vNumOfEachClass.size() != uiOther)
    {
        QC_ERROR("Patterns of " << m_vNumOfEachClass.size() << " classes and of " << uiOther
                                << " cannot be counted together");
        return false;
    }
    for (std::size_t i = 0; i < uiOther; ++i)
        m_vNumOfEachClass[i] += in_other.m_vNumOfEachClass[i];
    m_uiNumError += in_other.m_uiNumError;
    m_uiNumClassified += in_other.m_uiNumClassified;
    m_uiNumFalsePositive += in_other.m_uiNumFalsePositive;
    m_uiNumFalseNegative += in_other.m_uiNumFalseNegative;
    return true;
}

} // namespace Vexalor::MachineLearning
