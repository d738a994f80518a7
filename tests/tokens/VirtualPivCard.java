import java.io.ByteArrayOutputStream;
import java.io.DataInputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.math.BigInteger;
import java.net.InetAddress;
import java.net.Socket;
import java.net.StandardSocketOptions;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.Key;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.PrivateKey;
import java.security.SecureRandom;
import java.security.Signature;
import java.security.interfaces.RSAPrivateKey;
import java.security.spec.ECGenParameterSpec;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.Scanner;

import jdk.net.ExtendedSocketOptions;

/**
 * A PIV smart card (NIST SP 800-73-4) in software, in the virtual reader that vsmartcard's vpcd driver makes of a TCP
 * port: {@code java VirtualPivCard.java PORT}. Its keys and certificates are new with every start.
 *
 * <p>Standard input takes commands, one a line: {@code pull} takes the card out of the reader, {@code insert} puts it
 * back. The card goes away with the end of the input.
 */
public final class VirtualPivCard {
    private static final String PIN = "123456";
    private static final String PUK = "12345678";

    private VirtualPivCard() {
    }

    public static void main(String[] arguments) throws Exception {
        Reader reader = new Reader(Integer.parseInt(arguments[0]), new Card());
        Thread slot = new Thread(reader::serve, "reader");
        slot.setDaemon(true);
        slot.start();
        Scanner commands = new Scanner(System.in, StandardCharsets.US_ASCII);
        while (commands.hasNextLine()) {
            String command = commands.nextLine();
            switch (command) {
                case "pull" -> reader.pull();
                case "insert" -> reader.insert();
                default -> System.err.println("Neither pull nor insert: " + command);
            }
        }
    }

    /** The way to the driver: whoever is connected is a card in its reader. */
    private static final class Reader {
        private static final int POWER_OFF = 0;
        private static final int POWER_ON = 1;
        private static final int RESET = 2;
        private static final int TELL_ATR = 4;

        private final int port;
        private final Card card;
        private boolean inserted = true;
        private Socket socket;

        Reader(int port, Card card) {
            this.port = port;
            this.card = card;
        }

        synchronized void pull() throws IOException {
            inserted = false;
            if (socket != null) {
                socket.close();
            }
        }

        synchronized void insert() {
            inserted = true;
            notifyAll();
        }

        void serve() {
            try {
                while (true) {
                    try (Socket driver = connect()) {
                        converse(driver);
                    } catch (IOException pulledOrNoReaderYet) {
                        Thread.sleep(50);
                    }
                }
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
            }
        }

        private synchronized Socket connect() throws IOException, InterruptedException {
            while (!inserted) {
                wait();
            }
            socket = new Socket(InetAddress.getLoopbackAddress(), port);
            socket.setOption(StandardSocketOptions.TCP_NODELAY, true);
            return socket;
        }

        private void converse(Socket driver) throws IOException {
            DataInputStream in = new DataInputStream(driver.getInputStream());
            OutputStream out = driver.getOutputStream();
            card.reset();
            while (true) {
                byte[] message = new byte[in.readUnsignedShort()];
                // The driver sends length and message apart and waits in between for an acknowledgement, which the
                // system puts off for 40 milliseconds unless asked anew each time.
                driver.setOption(ExtendedSocketOptions.TCP_QUICKACK, true);
                in.readFully(message);
                driver.setOption(ExtendedSocketOptions.TCP_QUICKACK, true);
                byte[] answer = message.length == 1 ? control(message[0]) : card.answer(message);
                if (answer != null) {
                    ByteBuffer framed = ByteBuffer.allocate(2 + answer.length);
                    out.write(framed.putShort((short) answer.length).put(answer).array());
                }
            }
        }

        private byte[] control(int code) {
            switch (code) {
                case TELL_ATR:
                    return Card.ATR;
                case POWER_OFF, POWER_ON, RESET:
                    card.reset();
                    return null;
                default:
                    throw new IllegalStateException("The driver wants " + code);
            }
        }
    }

    /** When a key wants to see the PIN. */
    private enum PinPolicy { NEVER, ONCE, ALWAYS }

    private record CardKey(PrivateKey key, PinPolicy policy) {
        int algorithm() {
            return key instanceof RSAPrivateKey ? Card.RSA_2048 : Card.P_256;
        }

        /** A bare RSA operation, since padding and hash are the host's business, or an ECDSA signature. */
        byte[] apply(byte[] input) throws GeneralSecurityException {
            if (key instanceof RSAPrivateKey rsa) {
                BigInteger number = new BigInteger(1, input);
                if (number.compareTo(rsa.getModulus()) >= 0) {
                    throw new Refusal(Refusal.WRONG_DATA);
                }
                return Der.unsigned(number.modPow(rsa.getPrivateExponent(), rsa.getModulus()), Card.RSA_SIZE);
            }
            Signature signature = Signature.getInstance("NONEwithECDSA");
            signature.initSign(key);
            signature.update(input);
            return signature.sign();
        }
    }

    /** The application on the card. */
    private static final class Card {
        static final byte[] ATR = HexFormat.of().parseHex("3b800181");
        static final int RSA_2048 = 0x07;
        static final int P_256 = 0x11;
        static final int RSA_SIZE = 256;

        private static final int CHAINING = 0x10;
        private static final int VERIFY = 0x20;
        private static final int CHANGE_REFERENCE_DATA = 0x24;
        private static final int RESET_RETRY_COUNTER = 0x2C;
        private static final int GENERAL_AUTHENTICATE = 0x87;
        private static final int SELECT = 0xA4;
        private static final int GET_RESPONSE = 0xC0;
        private static final int GET_DATA = 0xCB;

        private static final byte[] PIV_APPLICATION = HexFormat.of().parseHex("a000000308");
        private static final int APPLICATION_PIN = 0x80;
        private static final int ADMINISTRATION_KEY = 0x9B;
        private static final int PIN_WIDTH = 8;
        private static final int PIN_TRIES = 3;
        private static final int MORE_DATA = 0x61;

        private final Map<Integer, CardKey> keys = new HashMap<>();
        /** What GET DATA reads, by the tag that it asks for. */
        private final Map<Integer, byte[]> objects = new HashMap<>();
        private final ByteArrayOutputStream chain = new ByteArrayOutputStream();
        private byte[] pin = padded(PIN);
        private int triesLeft = PIN_TRIES;
        private boolean verified;
        private boolean verifiedJustNow;
        private byte[] unread = {};

        Card() throws GeneralSecurityException {
            addKey(0x9A, 0x5FC105, "PIV Authentication", Der.rsaKeys(), PinPolicy.ONCE, 1);
            // With so many names that its certificate has more than 2048 bytes.
            addKey(0x9C, 0x5FC10A, "Digital Signature", Der.rsaKeys(), PinPolicy.ALWAYS, 100);
            addKey(0x9D, 0x5FC10B, "Key Management", Der.rsaKeys(), PinPolicy.ONCE, 1);
            addKey(0x9E, 0x5FC101, "Card Authentication", Der.ecKeys(), PinPolicy.NEVER, 1);
            // Cardholder unique identifier: agency code, GUID, expiry; unsigned.
            objects.put(0x5FC102, Der.join(
                    Der.tlv(0x30, HexFormat.of().parseHex("d4e739da739ced39ce739d836858210842108421c84210c3eb")),
                    Der.tlv(0x34, "0123456789abcdef".getBytes(StandardCharsets.US_ASCII)),
                    Der.tlv(0x35, "20491231".getBytes(StandardCharsets.US_ASCII)),
                    Der.tlv(0x3E), Der.tlv(0xFE)));
            // Card capability container: it says little, but cards have to have one.
            objects.put(0x5FC107, Der.join(
                    Der.tlv(0xF0, HexFormat.of().parseHex("a000000116ff020000000000000000000000000000")),
                    Der.tlv(0xF1, new byte[] {0x21}), Der.tlv(0xF2, new byte[] {0x21}), Der.tlv(0xF3),
                    Der.tlv(0xF4, new byte[] {0}), Der.tlv(0xF5, new byte[] {0x10}), Der.tlv(0xFE)));
        }

        private void addKey(int reference, int certificateTag, String name, KeyPair pair, PinPolicy policy, int names)
                throws GeneralSecurityException {
            keys.put(reference, new CardKey(pair.getPrivate(), policy));
            objects.put(certificateTag, Der.join(
                    Der.tlv(0x70, Der.certificate(name, pair, names)), Der.tlv(0x71, new byte[] {0}), Der.tlv(0xFE)));
        }

        private static byte[] padded(String secret) {
            byte[] bytes = Arrays.copyOf(secret.getBytes(StandardCharsets.US_ASCII), PIN_WIDTH);
            Arrays.fill(bytes, secret.length(), PIN_WIDTH, (byte) 0xFF);
            return bytes;
        }

        /** What a card forgets without power. */
        void reset() {
            verified = false;
            verifiedJustNow = false;
            unread = new byte[0];
            chain.reset();
        }

        byte[] answer(byte[] apdu) {
            Command command = Command.of(apdu);
            try {
                if ((command.classByte & CHAINING) != 0) {
                    chain.writeBytes(command.data);
                    return Refusal.status(Refusal.NONE);
                }
                if (command.instruction == GET_RESPONSE) {
                    return nextPart(command.room);
                }
                chain.writeBytes(command.data);
                byte[] data = chain.toByteArray();
                chain.reset();
                boolean freshPin = verifiedJustNow;
                verifiedJustNow = false;
                unread = execute(command, data, freshPin);
                return nextPart(command.room);
            } catch (Refusal refusal) {
                return Refusal.status(refusal.status);
            } catch (GeneralSecurityException e) {
                return Refusal.status(Refusal.WRONG_DATA);
            }
        }

        private byte[] nextPart(int room) {
            byte[] part = Arrays.copyOf(unread, Math.min(unread.length, room));
            unread = Arrays.copyOfRange(unread, part.length, unread.length);
            int status = unread.length == 0 ? Refusal.NONE : MORE_DATA << 8 | Math.min(unread.length, 0xFF);
            return Der.join(part, Refusal.status(status));
        }

        private byte[] execute(Command command, byte[] data, boolean freshPin) throws GeneralSecurityException {
            switch (command.instruction) {
                case SELECT:
                    return select(data);
                case GET_DATA:
                    return read(data);
                case VERIFY:
                    require(command.p2 == APPLICATION_PIN, Refusal.NO_SUCH_REFERENCE);
                    verify(command.p1, data);
                    return new byte[0];
                case CHANGE_REFERENCE_DATA:
                    require(command.p2 == APPLICATION_PIN, Refusal.NO_SUCH_REFERENCE);
                    require(data.length == 2 * PIN_WIDTH, Refusal.WRONG_DATA);
                    checkPin(Arrays.copyOf(data, PIN_WIDTH));
                    pin = Arrays.copyOfRange(data, PIN_WIDTH, data.length);
                    return new byte[0];
                case RESET_RETRY_COUNTER:
                    require(data.length == 2 * PIN_WIDTH, Refusal.WRONG_DATA);
                    require(Arrays.equals(Arrays.copyOf(data, PIN_WIDTH), padded(PUK)), Refusal.WRONG_PIN | PIN_TRIES);
                    pin = Arrays.copyOfRange(data, PIN_WIDTH, data.length);
                    triesLeft = PIN_TRIES;
                    return new byte[0];
                case GENERAL_AUTHENTICATE:
                    return authenticate(command, data, freshPin);
                default:
                    throw new Refusal(Refusal.NO_SUCH_INSTRUCTION);
            }
        }

        private static byte[] select(byte[] name) {
            boolean known = name.length >= PIV_APPLICATION.length
                    && Arrays.equals(Arrays.copyOf(name, PIV_APPLICATION.length), PIV_APPLICATION);
            require(known, Refusal.NOT_FOUND);
            return Der.tlv(0x61, Der.tlv(0x4F, HexFormat.of().parseHex("000010000100")),
                    Der.tlv(0x79, Der.tlv(0x4F, PIV_APPLICATION)));
        }

        private byte[] read(byte[] tagList) {
            byte[] tag = Der.parse(tagList).getOrDefault(0x5C, new byte[0]);
            byte[] object = objects.get(new BigInteger(1, tag).intValue());
            require(object != null, Refusal.NOT_FOUND);
            return Der.tlv(0x53, object);
        }

        private void verify(int p1, byte[] given) {
            if (p1 == 0xFF) {
                verified = false;
            } else if (given.length > 0) {
                checkPin(given);
            } else {
                require(verified, triesStatus());
            }
        }

        private void checkPin(byte[] given) {
            require(triesLeft > 0, Refusal.BLOCKED);
            verified = Arrays.equals(given, pin);
            verifiedJustNow = verified;
            triesLeft = verified ? PIN_TRIES : triesLeft - 1;
            require(verified, triesStatus());
        }

        private int triesStatus() {
            return triesLeft == 0 ? Refusal.BLOCKED : Refusal.WRONG_PIN | triesLeft;
        }

        private byte[] authenticate(Command command, byte[] data, boolean freshPin) throws GeneralSecurityException {
            Map<Integer, byte[]> request = Der.parse(Der.parse(data).getOrDefault(0x7C, new byte[0]));
            byte[] challenge = request.get(0x81);
            require(challenge != null, Refusal.WRONG_DATA);
            if (command.p2 == ADMINISTRATION_KEY && challenge.length == 0) {
                // Hosts ask for this challenge without ever answering it: a card has no other random numbers.
                byte[] random = new byte[8];
                new SecureRandom().nextBytes(random);
                return Der.tlv(0x7C, Der.tlv(0x81, random));
            }
            CardKey key = keys.get(command.p2);
            require(key != null, Refusal.NO_SUCH_REFERENCE);
            require(key.algorithm() == command.p1, Refusal.WRONG_PARAMETERS);
            boolean allowed = switch (key.policy) {
                case NEVER -> true;
                case ONCE -> verified;
                case ALWAYS -> freshPin;
            };
            require(allowed, Refusal.PIN_WANTED);
            return Der.tlv(0x7C, Der.tlv(0x82, key.apply(challenge)));
        }

        private static void require(boolean condition, int status) {
            if (!condition) {
                throw new Refusal(status);
            }
        }
    }

    /** A command that the card turns down, with the status word that says why. */
    private static final class Refusal extends RuntimeException {
        static final int NONE = 0x9000;
        static final int WRONG_PIN = 0x63C0;
        static final int PIN_WANTED = 0x6982;
        static final int BLOCKED = 0x6983;
        static final int WRONG_DATA = 0x6A80;
        static final int NOT_FOUND = 0x6A82;
        static final int WRONG_PARAMETERS = 0x6A86;
        static final int NO_SUCH_REFERENCE = 0x6A88;
        static final int NO_SUCH_INSTRUCTION = 0x6D00;

        private static final long serialVersionUID = 1;

        final int status;

        Refusal(int status) {
            this.status = status;
        }

        static byte[] status(int word) {
            return new byte[] {(byte) (word >> 8), (byte) word};
        }
    }

    /** A short command APDU: what the host wants done, and how many bytes it would take for an answer at once. */
    private record Command(int classByte, int instruction, int p1, int p2, byte[] data, int room) {
        static Command of(byte[] apdu) {
            ByteBuffer rest = ByteBuffer.wrap(apdu);
            int[] header = {rest.get() & 0xFF, rest.get() & 0xFF, rest.get() & 0xFF, rest.get() & 0xFF};
            byte[] data = new byte[rest.remaining() > 1 ? rest.get() & 0xFF : 0];
            rest.get(data);
            int room = rest.hasRemaining() ? rest.get() & 0xFF : 0;
            return new Command(header[0], header[1], header[2], header[3], data, room == 0 ? 0x100 : room);
        }
    }

    /** Tagged values, as the card's objects and the certificates are made of, and the keys that go into them. */
    private static final class Der {
        private static final byte[] COMMON_NAME = HexFormat.of().parseHex("0603550403");
        private static final byte[] SUBJECT_ALT_NAME = HexFormat.of().parseHex("0603551d11");
        private static final byte[] SHA256_WITH_RSA = HexFormat.of().parseHex("06092a864886f70d01010b0500");
        private static final byte[] ECDSA_WITH_SHA256 = HexFormat.of().parseHex("06082a8648ce3d040302");

        private static int serial;

        private Der() {
        }

        static KeyPair rsaKeys() throws GeneralSecurityException {
            KeyPairGenerator generator = KeyPairGenerator.getInstance("RSA");
            generator.initialize(8 * Card.RSA_SIZE);
            return generator.generateKeyPair();
        }

        static KeyPair ecKeys() throws GeneralSecurityException {
            KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
            generator.initialize(new ECGenParameterSpec("secp256r1"));
            return generator.generateKeyPair();
        }

        /** An X.509 certificate that the key has signed itself, with this many alternative names. */
        static byte[] certificate(String commonName, KeyPair pair, int names) throws GeneralSecurityException {
            Key key = pair.getPrivate();
            boolean rsa = key instanceof RSAPrivateKey;
            byte[] algorithm = sequence(rsa ? SHA256_WITH_RSA : ECDSA_WITH_SHA256);
            byte[] name = sequence(tlv(0x31, sequence(COMMON_NAME, text(0x0C, commonName))));
            byte[] version3 = tlv(0xA0, tlv(0x02, new byte[] {2}));
            byte[] validity = sequence(text(0x17, "200101000000Z"), text(0x17, "491231235959Z"));
            byte[] number = tlv(0x02, new byte[] {(byte) ++serial});
            byte[][] alternatives = new byte[names][];
            Arrays.setAll(alternatives, i -> text(0x82, "name" + i + ".of-the-card-holder.example"));
            byte[] extension = sequence(SUBJECT_ALT_NAME, tlv(0x04, sequence(alternatives)));
            byte[] content = sequence(version3, number, algorithm, name, validity, name,
                    pair.getPublic().getEncoded(), tlv(0xA3, sequence(extension)));
            Signature signature = Signature.getInstance(rsa ? "SHA256withRSA" : "SHA256withECDSA");
            signature.initSign(pair.getPrivate());
            signature.update(content);
            return sequence(content, algorithm, tlv(0x03, new byte[] {0}, signature.sign()));
        }

        static byte[] sequence(byte[]... members) {
            return tlv(0x30, members);
        }

        private static byte[] text(int tag, String characters) {
            return tlv(tag, characters.getBytes(StandardCharsets.UTF_8));
        }

        static byte[] tlv(int tag, byte[]... contents) {
            byte[] value = join(contents);
            byte[] length = value.length < 0x80 ? new byte[] {(byte) value.length}
                    : value.length < 0x100 ? new byte[] {(byte) 0x81, (byte) value.length}
                    : new byte[] {(byte) 0x82, (byte) (value.length >> 8), (byte) value.length};
            return join(new byte[] {(byte) tag}, length, value);
        }

        static byte[] join(byte[]... parts) {
            ByteArrayOutputStream all = new ByteArrayOutputStream();
            List.of(parts).forEach(all::writeBytes);
            return all.toByteArray();
        }

        /** The values in a run of one-byte tags. */
        static Map<Integer, byte[]> parse(byte[] run) {
            Map<Integer, byte[]> values = new HashMap<>();
            ByteBuffer rest = ByteBuffer.wrap(run);
            while (rest.hasRemaining()) {
                int tag = rest.get() & 0xFF;
                int length = rest.get() & 0xFF;
                if (length > 0x80) {
                    byte[] digits = new byte[length - 0x80];
                    rest.get(digits);
                    length = new BigInteger(1, digits).intValue();
                }
                byte[] value = new byte[length];
                rest.get(value);
                values.put(tag, value);
            }
            return values;
        }

        static byte[] unsigned(BigInteger number, int width) {
            byte[] digits = number.toByteArray();
            byte[] all = new byte[width];
            int kept = Math.min(digits.length, width);
            System.arraycopy(digits, digits.length - kept, all, width - kept, kept);
            return all;
        }
    }
}
