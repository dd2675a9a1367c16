// What the extension's own steps cost: traces, instruction files, item lines, heartbeats, hashes, signatures. Where a
// user could pick something else, that runs beside it: the openssl command for hashes, OpenSSL's functions for
// signatures.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#import <Foundation/Foundation.h>

#import "base/objc/ScopedPool.h"
#include "lum/common/lumutil.h"
#import "lum/security/CryptoWrapper.h"
#include "lum/security/CertificateServices.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TestCertificates.h"

@interface LUMBenchCollector : NSObject {
@public
    std::size_t bytes;
}
@end

@implementation LUMBenchCollector
- (void)trace:(NSNotification *)notification {
    bytes += [[[notification userInfo] objectForKey:@"ContentKey"] length];
}
@end

namespace {

constexpr std::uint64_t kLargeFile = 1ull << 30;

std::string &Place() {
    static std::string place;
    return place;
}

void Run(const std::string &command) {
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "lum_bench: this failed: %s\n", command.c_str());
        std::exit(1);
    }
}

const std::string kItemLine = "confshell.bundle;packages/confshell-2.4.0.0.tar.gz;;2,4,0,0;1048576;524288;;version;;0;"
                              "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef;sha256;" +
                              std::string(344, 'A');

void TraceUnobserved(benchmark::State &state) {
    for (auto _ : state) {
        MacInfoTrace("CLumExtension::WriteErrorLog,Begin,errorcode =%d", 901);
    }
}

void TraceObserved(benchmark::State &state) {
    LUMBenchCollector *collector = [LUMBenchCollector new];
    [[NSNotificationCenter defaultCenter] addObserver:collector
                                             selector:@selector(trace:)
                                                 name:@"TRACENOTIFICATIONNotification"
                                               object:nil];
    for (auto _ : state) {
        MacInfoTrace("CLumExtension::WriteErrorLog,Begin,errorcode =%d", 901);
    }
    [[NSNotificationCenter defaultCenter] removeObserver:collector];
    [collector release];
}

std::string WriteInstructions(std::int64_t items) {
    std::string path = Place() + "/lummac.ini";
    std::ofstream file(path);
    file << "[Kelvo]\nCount=" << items << "\n";
    for (std::int64_t i = 1; i <= items; ++i) {
        file << "File" << i << "=" << i << kItemLine << "\n";
    }
    return path;
}

// An instruction file that has just arrived, from the opening to its last item line.
void ReadInstructions(benchmark::State &state) {
    char line[2048];
    for (auto _ : state) {
        const std::string path = WriteInstructions(state.range(0));
        for (std::int64_t i = 1; i <= state.range(0); ++i) {
            const std::string key = "File" + std::to_string(i);
            QXGetPrivateProfileString("Kelvo", key.c_str(), "", line, sizeof line, path.c_str());
        }
    }
}

// The same, and what follows: items made, looked for on the disk and asked for.
void PrepareItems(benchmark::State &state) {
    for (auto _ : state) {
        LumFixture fixture;
        fixture.host.parameters = {{"LumUrlRoot", "https://meet.example/"}, {"LumComponentName", "none.bundle"}};
        std::string path = WriteInstructions(state.range(0));
        fixture.extension.HandleIniFileCallback(LUMGetFileNotifyDone, path.data());
    }
}

void ParseItem(benchmark::State &state) {
    LumFixture fixture;
    for (auto _ : state) {
        fixture.Add(kItemLine);
        fixture.manager.RemoveAllItem();
    }
}

void CompareNames(benchmark::State &state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(safe_strcasecmp("confshell.bundle", "ConfShell.Bundle"));
    }
}

// All is installed and launched, nothing changes: what each tick costs from then on.
void IdleHeartbeat(benchmark::State &state) {
    LumFixture fixture;
    CLumExtension &extension = fixture.extension;
    fixture.host.parameters["LumComponentName"] = "item0.bundle";
    for (int i = 0; i < 100; ++i) {
        fixture.Add("item" + std::to_string(i) + ".bundle" + kItemTail);
    }
    extension.m_bInstallationMgrInited = 1;
    extension.m_bMainComponentReady = 1;
    // The last of the items is still on its way, so that a tick walks over all of them.
    fixture.manager.SuppressInstallation();
    fixture.manager.m_aItems.back()->m_dwState = kItemPending;
    for (auto _ : state) {
        extension.Heartbeat();
    }
}

void HashOfFile(benchmark::State &state, std::string (*hash)(const std::string &)) {
    const std::string path = Place() + "/large";
    for (auto _ : state) {
        benchmark::DoNotOptimize(hash(path));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLargeFile));
}

void HashWithCommand(benchmark::State &state, const char *method) {
    const std::string command = std::string("openssl dgst -") + method + " '" + Place() + "/large' >/dev/null";
    for (auto _ : state) {
        Run(command);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLargeFile));
}

NSString *Text(const std::string &text) {
    return [NSString stringWithUTF8String:text.c_str()];
}

// A hash text of 64 bytes, signed with a key of 2048 bits, checked against the site's certificate's key.
void VerifySignature(benchmark::State &state) {
    const base::ScopedPool pool;
    NSData *text = [Text(std::string(64, 'a')) dataUsingEncoding:NSUTF8StringEncoding];
    NSData *signature = SignDataWithSSL((Place() + "/key.pem").c_str(), text);
    SecCertificateRef certificate = SecFromFile((Place() + "/certificate.der").c_str());
    rsa_st *key = RSAFromCertification(certificate);
    for (auto _ : state) {
        if (!verifyDataWithSSL(key, text, signature)) {
            state.SkipWithError("the signature does not verify");
        }
    }
    [[CryptoWrapper sharedInstance] RSA_free](key);
    CFRelease(certificate);
}

// OpenSSL's own functions on the same key: PKCS#1 v1.5 with SHA-256 over the same 64 bytes.
void VerifySignatureWithOpenSSL(benchmark::State &state) {
    FILE *file = std::fopen((Place() + "/key.pem").c_str(), "r");
    EVP_PKEY *key = PEM_read_PrivateKey(file, nullptr, nullptr, nullptr);
    std::fclose(file);
    const std::string text(64, 'a');
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    std::size_t length = 0;
    EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, key);
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.data());
    EVP_DigestSign(context, nullptr, &length, bytes, text.size());
    std::vector<unsigned char> signature(length);
    EVP_DigestSign(context, signature.data(), &length, bytes, text.size());
    for (auto _ : state) {
        EVP_MD_CTX_reset(context);
        EVP_DigestVerifyInit(context, nullptr, EVP_sha256(), nullptr, key);
        if (EVP_DigestVerify(context, signature.data(), length, bytes, text.size()) != 1) {
            state.SkipWithError("the signature does not verify");
        }
    }
    EVP_MD_CTX_free(context);
    EVP_PKEY_free(key);
}

void MakeLargeFile() {
    std::ofstream file(Place() + "/large", std::ios::binary);
    std::string block(1 << 20, '\0');
    unsigned int seed = 1;
    for (std::uint64_t written = 0; written < kLargeFile; written += block.size()) {
        for (std::size_t i = 0; i < block.size(); i += 64) {
            block[i] = static_cast<char>(seed = seed * 1103515245u + 12345u);
        }
        file.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
}

BENCHMARK(TraceUnobserved);
BENCHMARK(TraceObserved);
BENCHMARK(ReadInstructions)->Arg(100)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(PrepareItems)->Arg(100)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(ParseItem)->Unit(benchmark::kMicrosecond);
BENCHMARK(CompareNames);
BENCHMARK(IdleHeartbeat)->Unit(benchmark::kMicrosecond);
BENCHMARK(VerifySignature)->Unit(benchmark::kMicrosecond);
BENCHMARK(VerifySignatureWithOpenSSL)->Unit(benchmark::kMicrosecond);
// In turn, so that the machine's drift meets both alike.
BENCHMARK_CAPTURE(HashOfFile, sha1, Sha1OfFile)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK_CAPTURE(HashWithCommand, sha1, "sha1")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK_CAPTURE(HashOfFile, sha256, Sha256OfFile)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK_CAPTURE(HashWithCommand, sha256, "sha256")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

} // namespace

int main(int argc, char **argv) {
    const base::ScopedPool pool;
    std::string pattern = (std::filesystem::temp_directory_path() / "lumbench.XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        std::perror("lum_bench: a temporary folder cannot be made");
        return 1;
    }
    Place() = pattern;
    setenv("HOME", pattern.c_str(), 1);
    const TestCertificate certificate({.commonName = "bench", .key = KeyKind::Rsa2048});
    std::ofstream(Place() + "/key.pem") << certificate.KeyPem();
    std::ofstream(Place() + "/certificate.der", std::ios::binary) << certificate.der();
    MakeLargeFile();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(Place());
    return 0;
}
