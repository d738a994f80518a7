package harlune.matrix;

import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.KeyStore;
import java.security.PublicKey;
import java.security.Signature;
import java.security.cert.X509Certificate;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKC;
import velnor.CKM;
import velnor.CKO;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.ObjectTemplates;
import velnor.TokenObject;

/** Public keys and certificates as the JDK's. */
final class SurfaceObjectTrials extends SurfaceTrials {
    private static final int LONG = 2048;
    private static final byte[] DIGEST = bytes(32);
    private static X509Certificate jdkCertificate;

    SurfaceObjectTrials(OpenToken token, Outcomes outcomes) {
        super(token, outcomes);
    }

    @Override
    void plan() {
        trial(EC_POINTS, "P-256", this::pointRead);
        // First what is there: a TPM keeps what it is brought.
        trial(LONG_CERTIFICATES, "the token's own", this::ownLongCertificateRead);
        trial(LONG_CERTIFICATES, "brought to the token", this::longCertificateRead);
        trial(ISSUERS, "", this::issuerRead);
    }

    /** A key of the JDK's has to come back; what a key of the token's signs has to be valid under what was read. */
    private void pointRead() throws GeneralSecurityException {
        SurfacePair pair = SurfacePair.ec(session);
        PublicKey read = call(() -> pair.publicKey().publicKey());
        assertEquals(pair.jdkPublicKey(), read);
        if (pair.isTheJdks()) {
            return;
        }
        Signature judge = Signature.getInstance("NONEwithECDSAinP1363Format");
        judge.initVerify(read);
        judge.update(DIGEST);
        assertTrue(judge.verify(session.sign(new Mechanism(CKM.ECDSA), pair.privateKey(), DIGEST)));
    }

    /** A certificate with many names, which keytool makes. */
    private static X509Certificate longCertificate() throws GeneralSecurityException, IOException,
            InterruptedException {
        if (jdkCertificate == null) {
            Path store = Files.createTempDirectory("certificate").resolve("store");
            String names = IntStream.range(0, 100).mapToObj(i -> "dns:host" + i + ".of-a-large-company.example")
                    .collect(Collectors.joining(","));
            Process keytool = new ProcessBuilder(System.getProperty("java.home") + "/bin/keytool", "-genkeypair",
                    "-keyalg", "EC", "-groupname", "secp256r1", "-alias", "many", "-dname", "CN=many names,O=harlune",
                    "-ext", "san=" + names, "-keystore", store.toString(), "-storepass", "changeit")
                    .inheritIO().start();
            assertEquals(0, keytool.waitFor());
            KeyStore made = KeyStore.getInstance("PKCS12");
            try (InputStream in = Files.newInputStream(store)) {
                made.load(in, "changeit".toCharArray());
            }
            jdkCertificate = (X509Certificate) made.getCertificate("many");
            assertTrue(jdkCertificate.getEncoded().length > LONG);
        }
        return jdkCertificate;
    }

    private TokenObject created() throws GeneralSecurityException, IOException, InterruptedException {
        return session.createObject(ObjectTemplates.of(longCertificate(), new Attribute(CKA.TOKEN, false),
                new Attribute(CKA.PRIVATE, false), new Attribute(CKA.LABEL, "many names"),
                new Attribute(CKA.ID, new byte[] {'l', 'o', 'n', 'g'})));
    }

    private void longCertificateRead() throws GeneralSecurityException, IOException, InterruptedException {
        TokenObject object = created();
        X509Certificate read = call(object::certificate);
        assertEquals(longCertificate(), read);
        assertArrayEquals(longCertificate().getEncoded(), object.attribute(CKA.VALUE).bytesValue());
    }

    /** One that somebody else has put there, valid as it was read. */
    private void ownLongCertificateRead() throws GeneralSecurityException {
        for (TokenObject found : session.find(new Attribute(CKA.CLASS, CKO.CERTIFICATE),
                new Attribute(CKA.CERTIFICATE_TYPE, CKC.X_509))) {
            if (found.attribute(CKA.VALUE).bytesValue().length > LONG) {
                X509Certificate read = call(found::certificate);
                read.verify(read.getPublicKey());
                return;
            }
        }
        nothing("no such certificate");
    }

    private void issuerRead() throws GeneralSecurityException, IOException, InterruptedException {
        TokenObject object;
        X509Certificate certificate;
        try {
            object = created();
            certificate = longCertificate();
        } catch (CryptokiException e) {
            object = session.findFirst(new Attribute(CKA.CLASS, CKO.CERTIFICATE)).orElseThrow(() -> e);
            certificate = object.certificate();
        }
        TokenObject issued = object;
        assertArrayEquals(certificate.getIssuerX500Principal().getEncoded(),
                call(() -> issued.attribute(CKA.ISSUER)).bytesValue());
    }
}
