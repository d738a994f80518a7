package harlune.jca;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.io.BufferedReader;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.KeyStore;
import java.security.PrivateKey;
import java.security.Security;
import java.security.cert.Certificate;
import java.security.cert.X509Certificate;
import java.util.ArrayList;
import java.util.Base64;
import java.util.List;
import java.util.concurrent.Executors;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import javax.net.ssl.KeyManagerFactory;
import javax.net.ssl.SSLContext;
import javax.net.ssl.SSLServerSocket;
import javax.net.ssl.SSLSocket;
import javax.net.ssl.TrustManagerFactory;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** TLS of the JDK on keys of the token, with OpenSSL on the other side. */
class TlsTest extends JcaToken {
    private static final KeyPair AUTHORITY = pair("EC", "secp256r1");
    private static final int PATIENCE_SECONDS = 60;

    @TempDir
    Path directory;
    private X509Certificate authority;

    @BeforeEach
    void prepare() throws Exception {
        Security.addProvider(provider);
        authority = Certificates.selfSigned("CN=Authority", AUTHORITY);
        Files.writeString(directory.resolve("ca.pem"), pem("CERTIFICATE", authority.getEncoded()));
    }

    @AfterEach
    void remove() {
        Security.removeProvider(provider.getName());
    }

    private static String pem(String what, byte[] encoded) {
        return "-----BEGIN " + what + "-----\n" + Base64.getMimeEncoder(64, new byte[] {'\n'}).encodeToString(encoded)
                + "\n-----END " + what + "-----\n";
    }

    /** A key pair that the token made, with a certificate, in a context that trusts the authority. */
    private SSLContext context(String algorithm) throws Exception {
        KeyPair pair = KeyPairGenerator.getInstance(algorithm, provider).generateKeyPair();
        X509Certificate certificate = Certificates.make("CN=localhost", pair.getPublic(), "CN=Authority",
                AUTHORITY.getPrivate());
        KeyStore store = keyStore();
        store.setKeyEntry("tls", pair.getPrivate(), null, new Certificate[] {certificate, authority});
        KeyManagerFactory keys = KeyManagerFactory.getInstance("PKIX");
        keys.init(store, null);
        KeyStore trusted = KeyStore.getInstance(KeyStore.getDefaultType());
        trusted.load(null, null);
        trusted.setCertificateEntry("authority", authority);
        TrustManagerFactory trust = TrustManagerFactory.getInstance("PKIX");
        trust.init(trusted);
        SSLContext context = SSLContext.getInstance("TLS");
        context.init(keys.getKeyManagers(), trust.getTrustManagers(), null);
        return context;
    }

    private static int freePort() throws Exception {
        try (ServerSocket socket = new ServerSocket(0)) {
            return socket.getLocalPort();
        }
    }

    private String openssl(String input, List<String> arguments) throws Exception {
        List<String> command = new ArrayList<>(List.of("openssl"));
        command.addAll(arguments);
        Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
        try {
            process.getOutputStream().write(input.getBytes(StandardCharsets.US_ASCII));
            process.getOutputStream().flush();
            String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.ISO_8859_1);
            assertTrue(process.waitFor(PATIENCE_SECONDS, TimeUnit.SECONDS), output);
            return output;
        } finally {
            process.destroyForcibly();
        }
    }

    private void serves(String algorithm, String version, String expected) throws Exception {
        SSLContext context = context(algorithm);
        ExecutorService executor = Executors.newSingleThreadExecutor();
        try (SSLServerSocket server = (SSLServerSocket) context.getServerSocketFactory().createServerSocket(0, 1,
                InetAddress.getLoopbackAddress())) {
            server.setSoTimeout(PATIENCE_SECONDS * 1000);
            Future<String> served = executor.submit(() -> {
                try (SSLSocket socket = (SSLSocket) server.accept()) {
                    socket.setSoTimeout(PATIENCE_SECONDS * 1000);
                    String line = new BufferedReader(new InputStreamReader(socket.getInputStream(),
                            StandardCharsets.US_ASCII)).readLine();
                    socket.getOutputStream().write("hello client\n".getBytes(StandardCharsets.US_ASCII));
                    return socket.getSession().getProtocol() + ' ' + line;
                }
            });
            String said = openssl("hello server\n", List.of("s_client", "-connect",
                    "127.0.0.1:" + server.getLocalPort(),
                    "-CAfile", directory.resolve("ca.pem").toString(), "-verify_return_error", "-ign_eof",
                    version.equals("TLSv1.3") ? "-tls1_3" : "-tls1_2"));
            assertTrue(said.contains("hello client"), said);
            assertTrue(said.contains("Verify return code: 0 (ok)"), said);
            assertTrue(said.contains("Peer signature type: " + expected), said);
            assertEquals(version + " hello server", served.get(PATIENCE_SECONDS, TimeUnit.SECONDS));
        } finally {
            executor.shutdownNow();
        }
    }

    @Test
    void aServerWithAnRsaKey() throws Exception {
        serves("RSA", "TLSv1.3", "RSA-PSS");
        serves("RSA", "TLSv1.2", "RSA-PSS");
    }

    @Test
    void aServerWithAnEcKey() throws Exception {
        serves("EC", "TLSv1.3", "ECDSA");
        serves("EC", "TLSv1.2", "ECDSA");
    }

    @Test
    void aServerWithAnEdwardsKeyWhereTheTokenHasIt() throws Exception {
        if (offers("KeyPairGenerator", "EdDSA")) {
            serves("EdDSA", "TLSv1.3", "ed25519");
        }
    }

    private void isAClient(String algorithm, String version) throws Exception {
        KeyPair pair = pair("EC", "secp256r1");
        X509Certificate certificate = Certificates.make("CN=localhost", pair.getPublic(), "CN=Authority",
                AUTHORITY.getPrivate());
        Files.writeString(directory.resolve("server.pem"), pem("CERTIFICATE", certificate.getEncoded())
                + pem("PRIVATE KEY", pair.getPrivate().getEncoded()));
        int port = freePort();
        Process server = new ProcessBuilder("openssl", "s_server", "-accept", "127.0.0.1:" + port, "-www", "-cert",
                directory.resolve("server.pem").toString(), "-CAfile", directory.resolve("ca.pem").toString(),
                "-Verify", "2", "-verify_return_error", version.equals("TLSv1.3") ? "-tls1_3" : "-tls1_2")
                .redirectErrorStream(true).redirectOutput(directory.resolve("server.log").toFile()).start();
        try (SSLSocket socket = connect(context(algorithm), port)) {
            socket.setSoTimeout(PATIENCE_SECONDS * 1000);
            socket.getOutputStream().write("GET / HTTP/1.0\r\n\r\n".getBytes(StandardCharsets.US_ASCII));
            InputStream in = socket.getInputStream();
            String page = new String(in.readAllBytes(), StandardCharsets.US_ASCII);
            assertEquals(version, socket.getSession().getProtocol());
            assertTrue(page.contains("Client certificate"), page);
            assertTrue(page.contains("CN = localhost") || page.contains("CN=localhost"), page);
        } finally {
            server.destroyForcibly().waitFor();
        }
    }

    /** The server takes a moment to listen. */
    private static SSLSocket connect(SSLContext context, int port) throws Exception {
        for (int patience = PATIENCE_SECONDS * 10;; patience--) {
            try {
                return (SSLSocket) context.getSocketFactory().createSocket(InetAddress.getLoopbackAddress(), port);
            } catch (java.net.ConnectException e) {
                if (patience == 0) {
                    throw e;
                }
                Thread.sleep(100);
            }
        }
    }

    @Test
    void aClientWithItsCertificate() throws Exception {
        isAClient("RSA", "TLSv1.3");
        isAClient("EC", "TLSv1.2");
        assertEquals("tls", keyStore().aliases().nextElement());
        PrivateKey key = (PrivateKey) keyStore().getKey("tls", Tokens.PIN.toCharArray());
        assertEquals("EC", key.getAlgorithm());
    }
}
