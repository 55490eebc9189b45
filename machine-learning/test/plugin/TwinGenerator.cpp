// Another class under a key that another plug-in has: whichever is loaded first is the one that is created.

#include "MLDataGenerator.h"
#include "quillcast-core/SerializationArchives.h"

#include <ostream>

namespace Twin
{

class TwinGenerator : public virtual Vexalor::MachineLearning::DataGenerator
{
public:
    bool gotoStart() override { return true; }
    bool generateNext() override { return false; }
    bool atEnd() const override { return true; }
    bool getInput(Vexalor::DoubleVector&) override { return false; }
    bool getTarget(Vexalor::DoubleVector&) override { return false; }
    std::ostream& dumpStatus(std::ostream& out_stream) override { return out_stream << "Twin"; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int)
    {
        Vexalor::serializeBase<Vexalor::MachineLearning::DataGenerator>(io_archive, *this);
    }
};

} // namespace Twin

BOOST_CLASS_EXPORT_KEY2(Twin::TwinGenerator, "RampGenerator")
BOOST_CLASS_EXPORT_IMPLEMENT(Twin::TwinGenerator)
