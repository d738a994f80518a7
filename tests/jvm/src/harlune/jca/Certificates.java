package harlune.jca;

import java.io.ByteArrayInputStream;
import java.math.BigInteger;
import java.security.KeyPair;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.Signature;
import java.security.cert.CertificateFactory;
import java.security.cert.X509Certificate;
import java.time.ZoneOffset;
import java.time.ZonedDateTime;
import java.time.format.DateTimeFormatter;

import javax.security.auth.x500.X500Principal;

import velnor.der.Der;

/** Certificates for tests, valid from yesterday for a year; those that sign themselves are authorities. */
final class Certificates {
    private static final int BOOLEAN = 0x01;
    private static final int UTC_TIME = 0x17;
    private static final byte[] TRUE = Der.encode(BOOLEAN, new byte[] {-1});

    private Certificates() {
    }

    static X509Certificate selfSigned(String name, KeyPair pair) throws Exception {
        return make(name, pair.getPublic(), name, pair.getPrivate());
    }

    static X509Certificate make(String subject, PublicKey key, String issuer, PrivateKey issuersKey) throws Exception {
        boolean rsa = issuersKey.getAlgorithm().equals("RSA");
        byte[] algorithm = rsa
                ? Der.sequence(Der.objectIdentifier("1.2.840.113549.1.1.11"), Der.encode(Der.NULL))
                : Der.sequence(Der.objectIdentifier("1.2.840.10045.4.3.2"));
        byte[] authority = Der.sequence(Der.objectIdentifier("2.5.29.19"), TRUE,
                Der.encode(Der.OCTET_STRING, Der.sequence(TRUE)));
        byte[] extensions = subject.equals(issuer) ? Der.encode(0xA3, Der.sequence(authority)) : new byte[0];
        byte[] body = Der.sequence(Der.encode(0xA0, Der.integer(BigInteger.TWO)),
                Der.integer(BigInteger.valueOf(System.nanoTime())), algorithm, name(issuer),
                Der.sequence(time(-1), time(365)), name(subject), key.getEncoded(), extensions);
        Signature signature = Signature.getInstance(rsa ? "SHA256withRSA" : "SHA256withECDSA");
        signature.initSign(issuersKey);
        signature.update(body);
        byte[] encoded = Der.sequence(body, algorithm, Der.bitString(signature.sign()));
        return (X509Certificate) CertificateFactory.getInstance("X.509")
                .generateCertificate(new ByteArrayInputStream(encoded));
    }

    private static byte[] name(String name) {
        return new X500Principal(name).getEncoded();
    }

    private static byte[] time(int days) {
        String time = ZonedDateTime.now(ZoneOffset.UTC).plusDays(days)
                .format(DateTimeFormatter.ofPattern("yyMMddHHmmss'Z'"));
        return Der.encode(UTC_TIME, time.getBytes());
    }
}
