// Fixture of the field-limit tests (pipeline_faults_test, pipeline_limits_test): the shared
// simulator, a working directory whose korix.conf logs to pavo.log there plus the test's own
// settings, and the library restarted on demand with them.
#ifndef PAVO_TEST_FIELD_FIXTURE_H
#define PAVO_TEST_FIELD_FIXTURE_H

#include <string>

#include "service/pavo_upload.h"
#include "service_fixture.h"
#include "support/temp_dir.h"

inline size_t count_of(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class FieldTest : public pavo_test::SimSuite {
protected:
    void SetUp() override
    {
        SimSuite::SetUp();
        start({});
    }
    void TearDown() override { pavo_cleanup(); }

    void start(pavo_test::ConfEntries settings)
    {
        pavo_cleanup();
        settings.insert(settings.begin(), {{"logmode", "2"}, {"logdirectory", dir_.path()}});
        pavo_test::write_korix_conf(dir_.path(), settings);
        pavo_init_param param{};
        param.workdirectory = const_cast<char*>(dir_.path().c_str());
        ASSERT_EQ(pavo_init(&param), PAVO_STATUS_SUCCESS);
    }

    static std::string url(const std::string& path) { return sim_->base_url() + path; }

    std::string log_text() const
    {
        if (g_pavo_env.logfileptr != nullptr)
            fflush(g_pavo_env.logfileptr);
        return read_file(dir_.file("pavo.log"));
    }

    TempDir dir_;
};

#endif
